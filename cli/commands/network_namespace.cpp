// SPDX-License-Identifier: MIT
#include "cli/commands/network_namespace.h"

#include <fcntl.h>
#include <sched.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "cli/client/mistakes.h"
#include "cli/commands/commands.h"
#include "platform/runtime/files/descriptor.h"

namespace cli {

namespace {

constexpr const char* kDirectory = "/run/netns";

}  // namespace

std::vector<std::string> networkNamespaces() {
    std::vector<std::string> names;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(kDirectory, error))
        names.push_back(entry.path().filename());
    std::ranges::sort(names);
    return names;
}

void enterNetworkNamespace(const std::string& name) {
    const std::vector<std::string> known = networkNamespaces();
    if (std::ranges::find(known, name) == known.end()) {
        throw UsageError(
            "there is no network namespace '" + name + "'" + guess(name, known) + "; allowed are " +
            (known.empty() ? std::string("those of `ip netns`, which lists none") : listed(known)));
    }
    const std::string path = std::string(kDirectory) + "/" + name;
    const platform::Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.get() < 0 || setns(file.get(), CLONE_NEWNET) != 0) {
        const int failure = errno;
        throw UsageError(
            "cannot enter the network namespace " + name + ": " + std::strerror(failure) +
            (failure == EPERM || failure == EACCES ? "; it takes root, or CAP_SYS_ADMIN" : ""));
    }
}

}  // namespace cli
