// SPDX-License-Identifier: MIT
//
// The debug entry points by name, for the platform's debug shell.
#include <array>

#include "daemon/core/debug.h"
#include "platform/contract/process.h"

namespace {

template <void (*Function)()>
u32 mvrpShellCall(u32 /*p1*/, u32 /*p2*/, u32 /*p3*/) {
    Function();
    return 0;
}

constexpr std::array<ShellFunc, 10> kShellMap = {{
    {"mvrpDbgGlbShow", 0, mvrpShellCall<mvrpDbgGlbShow>},
    {"mvrpDbgPortShow", 0, mvrpShellCall<mvrpDbgPortShow>},
    {"mvrpShowPort", 0, mvrpShellCall<mvrpShowPort>},
    {"mvrpDbgPortThisShow", 1,
     [](u32 unit, u32, u32) {
         mvrpDbgPortThisShow(unit);
         return u32{0};
     }},
    {"mvrpDbgPortVlanShow", 2,
     [](u32 unit, u32 vid, u32) {
         mvrpDbgPortVlanShow(unit, vid);
         return u32{0};
     }},
    {"mvrpVlandbgSet", 1, [](u32 vid, u32, u32) { return mvrpVlandbgSet(static_cast<u16>(vid)); }},
    {"mvrpPortdbgSet", 1, [](u32 unit, u32, u32) { return mvrpPortdbgSet(unit); }},
    {"mvrpDbgHandler", 3,
     [](u32 command, u32 p1, u32 p2) {
         return static_cast<u32>(mvrpDbgHandler(command, p1, p2, 0));
     }},
    {"mvrpDbgSockInit", 0, [](u32, u32, u32) { return static_cast<u32>(mvrpDbgSockInit()); }},
    {"mvrpDbgServer", 0, [](u32, u32, u32) { return static_cast<u32>(mvrpDbgServer()); }},
}};

}  // namespace

const std::span<const ShellFunc> gMvrpShellMap = kShellMap;
