// SPDX-License-Identifier: MIT
#include "platform/runtime/tasks/shell.h"

#include <algorithm>

#include "platform/contract/process.h"
#include "platform/runtime/console.h"
#include "platform/runtime/process_runtime.h"
#include "platform/runtime/tasks/sem.h"

namespace platform {
namespace {

/// Of the debug socket, for whoever serves it alone: one waits for a connection, the other opens
/// the socket anew, each time with another descriptor.
constexpr std::array<std::string_view, 2> kSocketFunctions = {"mvrpDbgServer", "mvrpDbgSockInit"};

bool callable(const ShellFunc& function) {
    return function.call != nullptr &&
           std::ranges::find(kSocketFunctions, function.name) == kSocketFunctions.end();
}

}  // namespace

std::optional<ShellResult> shellCall(std::string_view name, const std::array<u32, 3>& parameters,
                                     std::size_t limit) {
    if (!processRuntime().shellReady)
        return std::nullopt;
    const auto found = std::ranges::find_if(gMvrpShellMap, [name](const ShellFunc& function) {
        return name == function.name && callable(function);
    });
    if (found == gMvrpShellMap.end())
        return std::nullopt;
    ConsoleCapture capture(limit);
    const SemHoldAll locks;
    const u32 value = found->call(parameters[0], parameters[1], parameters[2]);
    return ShellResult{value, capture.text()};
}

std::string shellNames() {
    std::string names;
    if (!processRuntime().shellReady)
        return names;
    for (const ShellFunc& function : gMvrpShellMap)
        if (callable(function))
            names += std::string(function.name) + "\n";
    return names;
}

}  // namespace platform

void procShellInit(const char*, u32, u32) {
    platform::processRuntime().shellReady = true;
}
