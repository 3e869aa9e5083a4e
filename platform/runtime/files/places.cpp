// SPDX-License-Identifier: MIT
#include "platform/runtime/files/places.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "platform/runtime/files/paths.h"
#include "platform/runtime/log.h"

namespace platform {
namespace {

constexpr const char* kStateVariable = "STATE_DIRECTORY";
constexpr const char* kStateDirectory = "/var/lib/mvrp";

std::string withoutEnd(std::string path) {
    while (path.size() > 1 && path.ends_with('/'))
        path.pop_back();
    return path;
}

/// Takes the first name off a path. @return it, empty at the end
std::string takeName(std::string_view& path) {
    path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
    const std::string name(path.substr(0, path.find('/')));
    path.remove_prefix(name.size());
    return name;
}

/// From an open directory down a relative path. @return nothing with the reason in `error`
std::optional<Place> descend(Descriptor directory, std::string_view path, std::string& error) {
    std::string name = takeName(path);
    for (std::string next; !(next = takeName(path)).empty(); name = std::move(next)) {
        if (name == "." || name == "..")
            break;
        directory = Descriptor(
            openat(directory.get(), name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!directory.isOpen()) {
            error = "'" + name + "': " + errorText(errno);
            return std::nullopt;
        }
    }
    if (name.empty() || name == "." || name == "..") {
        error = "names in it may not be \".\" or \"..\", and the last one not be missing";
        return std::nullopt;
    }
    return Place{std::move(directory), std::move(name)};
}

}  // namespace

Place Place::ofPath(const std::string& path) {
    return {Descriptor(AT_FDCWD), path};
}

std::string Place::address() const {
    return directory.isOpen() ? "/proc/self/fd/" + std::to_string(directory.get()) + "/" + name
                              : name;
}

RequestPlaces::RequestPlaces(std::vector<std::string> directories)
    : directories_(std::move(directories)) {
    for (std::string& directory : directories_)
        directory = withoutEnd(std::move(directory));
}

std::optional<Place> RequestPlaces::find(const std::string& path, std::string& error) const {
    std::string allowed;
    for (const std::string& directory : directories_) {
        const std::string start = directory == "/" ? directory : directory + "/";
        allowed += (allowed.empty() ? "" : ", ") + directory;
        if (!path.starts_with(start))
            continue;
        Descriptor opened(open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        std::string reason = errorText(errno);
        if (opened.isOpen())
            if (auto place = descend(std::move(opened), path.substr(start.size()), reason))
                return place;
        error = "'" + path + "': " + reason;
        return std::nullopt;
    }
    error = "'" + path + "' is not a path below " + (allowed.empty() ? "any directory" : allowed) +
            ", where requests may name files and sockets ([command] directories)";
    return std::nullopt;
}

std::vector<std::string> standardPlaces() {
    std::vector<std::string> places = {withoutEnd(runtimePath("/tmp/"))};
    const char* const given = std::getenv(kStateVariable);
    // A list, with ':' between its directories.
    std::string_view states = given == nullptr ? kStateDirectory : given;
    while (!states.empty()) {
        const std::size_t end = std::min(states.find(':'), states.size());
        if (end != 0)
            places.emplace_back(states.substr(0, end));
        states.remove_prefix(std::min(end + 1, states.size()));
    }
    return places;
}

}  // namespace platform
