// SPDX-License-Identifier: MIT
#include "platform/host/privileges.h"

#include <cap-ng.h>
#include <grp.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>

#include "platform/channel/access.h"
#include "platform/runtime/log.h"

namespace platform {
namespace {

constexpr uid_t kRoot = 0;
constexpr int kMostGroups = 65536;  // of a user, as the kernel has it

struct Account {
    uid_t user = 0;
    gid_t group = 0;
    std::string name;
};

std::optional<Account> accountOf(const std::string& name) {
    passwd entry{};
    passwd* found = nullptr;
    std::array<char, 16384> text{};
    if (getpwnam_r(name.c_str(), &entry, text.data(), text.size(), &found) != 0 || found == nullptr)
        return std::nullopt;
    return Account{entry.pw_uid, entry.pw_gid, name};
}

std::string userName(uid_t user) {
    passwd entry{};
    passwd* found = nullptr;
    std::array<char, 16384> text{};
    const bool known =
        getpwuid_r(user, &entry, text.data(), text.size(), &found) == 0 && found != nullptr;
    return "user " + (known ? std::string(entry.pw_name) + " " : "") + "(" + std::to_string(user) +
           ")";
}

std::string capabilityName(unsigned capability) {
    const char* name = capng_capability_to_name(capability);
    std::string text =
        name == nullptr ? "capability " + std::to_string(capability) : std::string("CAP_") + name;
    std::ranges::transform(text, text.begin(), [](unsigned char letter) {
        return static_cast<char>(std::toupper(letter));
    });
    return text;
}

std::string listed(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : word == words.back() ? " and " : ", ") + word;
    return text;
}

bool fail(std::string& error, const std::string& what) {
    error = what;
    return false;
}

/// Those of `needs` that the process has.
bool findCapabilities(const PrivilegeNeeds& needs, std::vector<unsigned>& kept,
                      std::string& error) {
    if (capng_get_caps_process() != 0)
        return fail(error, "the capabilities of this process can not be read");
    const auto have = [](unsigned capability) {
        return capng_have_capability(CAPNG_PERMITTED, capability) != 0;
    };
    std::vector<std::string> missing;
    for (const unsigned capability : needs.required)
        if (!have(capability))
            missing.push_back(capabilityName(capability));
    if (!missing.empty())
        return fail(error, "the Linux driver needs " + listed(missing) +
                               ", which this process does not have; start it as root, or by its "
                               "service unit");
    kept = needs.required;
    std::ranges::copy_if(needs.wanted, std::back_inserter(kept), have);
    return true;
}

/// The user to become, or nothing to stay who we are.
bool findAccount(const PrivilegeNeeds& needs, std::optional<Account>& account, std::string& error) {
    if (needs.user.empty())
        return true;
    account = accountOf(needs.user);
    const bool isRoot = geteuid() == kRoot;
    if (needs.userOptional && (!account || !isRoot)) {
        account.reset();
        return true;
    }
    if (!account)
        return fail(error, "there is no user '" + needs.user +
                               "'; allowed for [process] user: a user of this system");
    if (account->user == geteuid()) {
        account.reset();
        return true;
    }
    if (!isRoot)
        return fail(error, "only root can become the user '" + needs.user +
                               "' of [process] user; start it as root or as that user");
    return true;
}

/// The groups of the account, or those we have, and those that a socket is given to.
bool setGroups(const std::optional<Account>& account, const std::vector<std::string>& more,
               std::string& error) {
    std::vector<gid_t> groups(64);
    int count = static_cast<int>(groups.size());
    if (account) {
        while (getgrouplist(account->name.c_str(), account->group, groups.data(), &count) < 0) {
            if (count > kMostGroups || count <= static_cast<int>(groups.size()))
                return fail(error, "the groups of user '" + account->name + "' can not be read");
            groups.resize(static_cast<std::size_t>(count));
        }
    } else {
        count = getgroups(0, nullptr);
        groups.resize(static_cast<std::size_t>(std::max(count, 0)));
        count = getgroups(count, groups.data());
    }
    groups.resize(static_cast<std::size_t>(std::max(count, 0)));
    for (const std::string& name : more)
        if (const auto extra = groupOf(name);
            extra && std::ranges::find(groups, *extra) == groups.end())
            groups.push_back(*extra);
    if (setgroups(groups.size(), groups.data()) != 0)
        return fail(error, "the groups can not be set: " + errorText(errno));
    return true;
}

/// No capability beyond `kept` in any set, and none to gain by running a program.
bool applyCapabilities(const std::optional<Account>& account, const std::vector<unsigned>& kept,
                       std::string& error) {
    const bool mayBound = capng_have_capability(CAPNG_EFFECTIVE, CAP_SETPCAP) != 0;
    capng_clear(CAPNG_SELECT_ALL);
    for (const unsigned capability : kept)
        capng_update(CAPNG_ADD, static_cast<capng_type_t>(CAPNG_EFFECTIVE | CAPNG_PERMITTED),
                     capability);
    int status = 0;
    if (account)
        status =
            capng_change_id(static_cast<int>(account->user), static_cast<int>(account->group),
                            static_cast<capng_flags_t>(CAPNG_CLEAR_BOUNDING | CAPNG_CLEAR_AMBIENT));
    else
        status = capng_apply(mayBound ? CAPNG_SELECT_ALL : CAPNG_SELECT_CAPS);
    if (status != 0)
        return fail(error, "the privileges that are not needed can not be given up (libcap-ng " +
                               std::to_string(status) + ", " + errorText(errno) + ")");
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0)
        return fail(error, "no_new_privs can not be set: " + errorText(errno));
    return true;
}

}  // namespace

PrivilegeNeeds privilegesFor(const HostConfig& config) {
    PrivilegeNeeds needs;
    needs.user = config.process.user;
    for (const std::string& group : {config.commandGroup, config.readGroup})
        if (!group.empty())
            needs.groups.push_back(group);
    if (needs.user.empty() && !config.process.keepRoot) {
        needs.user = kOwnUser;
        needs.userOptional = true;
    }
    if (config.network.driver == DriverKind::LinuxBridge) {
        needs.required = {CAP_NET_ADMIN, CAP_NET_RAW};
        return needs;
    }
    const bool anyInterface = std::ranges::any_of(config.network.ports, [](const PortConfig& port) {
        return port.cable.kind == CableKind::Interface;
    });
    if (anyInterface || config.process.keepNetRaw)
        needs.wanted = {CAP_NET_RAW};
    return needs;
}

bool dropPrivileges(const PrivilegeNeeds& needs, std::string& error) {
    std::vector<unsigned> kept;
    std::optional<Account> account;
    if (!findCapabilities(needs, kept, error) || !findAccount(needs, account, error))
        return false;
    // Without CAP_SETGID the groups stay as whoever started us chose them.
    const bool maySetGroups = capng_have_capability(CAPNG_EFFECTIVE, CAP_SETGID) != 0;
    if (maySetGroups && !setGroups(account, needs.groups, error))
        return false;
    return applyCapabilities(account, kept, error);
}

std::string heldPrivileges() {
    std::vector<std::string> held;
    if (capng_get_caps_process() == 0)
        for (unsigned capability = 0; capability <= CAP_LAST_CAP; capability++)
            if (capng_have_capability(CAPNG_PERMITTED, capability) != 0)
                held.push_back(capabilityName(capability));
    return userName(geteuid()) + ", " + (held.empty() ? "no capabilities" : listed(held));
}

}  // namespace platform
