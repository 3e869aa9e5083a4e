// SPDX-License-Identifier: MIT
#include "daemon/core/debug.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "daemon/base/trace.h"
#include "daemon/db/port.h"
#include "daemon/fsm/machine.h"
#include "platform/contract/process.h"
#include "platform/contract/qor_socket.h"

namespace {

constexpr std::string_view kDebugSocketPath = "/tmp/mvrpdbg.socket";
constexpr int kDebugBacklog = 10;

struct MvrpLocalAddress {
    u16 family;
    char path[104];
};
constexpr socklen_t kLocalAddressBytes = 106;
static_assert(sizeof(MvrpLocalAddress) == kLocalAddressBytes);

enum MvrpDebugCommand : u32 {
    DEBUG_SHOW_GLOBAL = 1,
    DEBUG_SHOW_PORTS = 2,
    DEBUG_SHOW_PORT_VLAN = 3,
    DEBUG_SET_BATCH_SIZE = 4,
    DEBUG_SHOW_PORT = 5,
};

/// Number that the "no this port entry" line shows: see docs/compatibility.md.
constexpr u32 kNoPortLine = 1195;

constexpr char kSeparator[] = "==================================\n\r";

/// The port's block of a dump, from "enable" on.
void mvrpPortBlockPrint(const MvrpPortEntry* port) {
    const u8* mac = port->portMac;
    printf("\tenable: %u\n\r", port->enable);
    printf("\tjoin timeout: %u\n\r", port->join_timeout);
    printf("\tleave timeout: %u\n\r", port->leave_timeout);
    printf("\tleave all timeout: %u\n\r", port->leaveAllTimeout);
    printf("\tperiod trans timeout: %u\n\r", port->period_trans_timeout);
    printf("\tport mac: %02x:%02x:%02x:%02x:%02x:%02x\n\r", mac[0], mac[1], mac[2], mac[3], mac[4],
           mac[5]);
    printf("\tmsg num: %u\n\r", port->msgNum);
    printf("\tmtu: %u\n\r", port->mtu);
    printf("\tlink state: %u\n\r", port->linkState);
    printf("\tpeer mode: %u\n\r", port->peerMode);
    printf("\tgvrp compliance: %u\n\r", port->gvrpCompliance);
    printf("\tregistration mode: %u\n\r", port->registration_mode);
    printf("\tparticipant mode: %u\n\r", port->participant_mode);
    printf("\tjoin timer flag: %u\n\r", port->joinTimerFlag);
}

void mvrpPortPrint(const MvrpPortEntry* port) {
    printf("\tport unit: %u\n\r", port->portunit);
    mvrpPortBlockPrint(port);
}

bool mvrpWordReceive(s32 connection, u32* word) {
    return qor_recv(connection, word, sizeof(*word), 0) == sizeof(*word);
}

/// Closes the socket of a set-up that failed; its number stays in gMvrpInfo.
s32 mvrpDbgSockFailed(const char* message) {
    perror(message);
    qor_close(gMvrpInfo.dbgSock);
    return -1;
}

/// An address as glibc prints it, with every C library: none is "(nil)".
struct MvrpPointerText {
    std::array<char, sizeof(void*) * 2 + sizeof("0x")> text{"(nil)"};

    explicit MvrpPointerText(const void* pointer) {
        if (pointer != nullptr)
            snprintf(text.data(), text.size(), "%p", pointer);
    }
};

}  // namespace

s32 mvrpDbgSockInit() {
    MvrpLocalAddress address = {};
    address.family = kQorFamilyLocal;
    kDebugSocketPath.copy(address.path, sizeof(address.path) - 1);
    unlink(address.path);

    gMvrpInfo.dbgSock = qor_socket(kQorFamilyLocal, kQorTypeStream, 0);
    if (gMvrpInfo.dbgSock < 0) {
        printf("dbg sock create failed\n\r");
        return -1;
    }
    if (qor_bind(gMvrpInfo.dbgSock, &address, kLocalAddressBytes) != 0)
        return mvrpDbgSockFailed("dbg sock bind failed!\n\r");
    if (qor_listen(gMvrpInfo.dbgSock, kDebugBacklog) != 0)
        return mvrpDbgSockFailed("dbg sock listen failed!\n\r");
    return 0;
}

s32 mvrpDbgServer() {
    MvrpLocalAddress address = {};
    socklen_t addressLength = kLocalAddressBytes;
    const s32 connection = qor_accept(gMvrpInfo.dbgSock, &address, &addressLength);
    if (connection < 0)
        return -1;

    u32 words[4] = {};
    for (u32& word : words) {
        if (!mvrpWordReceive(connection, &word)) {
            qor_close(connection);
            return -1;
        }
    }
    qor_close(connection);
    return mvrpDbgHandler(words[0], words[1], words[2], words[3]);
}

s32 mvrpDbgHandler(u32 command, u32 p1, u32 p2, u32 /*p3*/) {
    printf(
        "dbg handler:\n\r\t1:mvrpDbgGlbShow\n\r\t2:mvrpDbgPortShow\n\r"
        "\t\t\t3:mvrpDbgPortVlanShow(unit,vid)\n\r"
        " 4: gMvrpInfo.vlanNumPerTimes = (uint32_t)param2\n\r"
        "\t\t\t5:mvrpDbgPortThisShow(unit)\n\r");
    switch (command) {
        case DEBUG_SHOW_GLOBAL:
            mvrpDbgGlbShow();
            break;
        case DEBUG_SHOW_PORTS:
            mvrpDbgPortShow();
            break;
        case DEBUG_SHOW_PORT_VLAN:
            mvrpDbgPortVlanShow(p1, p2);
            break;
        case DEBUG_SET_BATCH_SIZE:
            gMvrpInfo.vlanNumPerTimes = static_cast<u16>(p1);
            break;
        case DEBUG_SHOW_PORT:
            mvrpDbgPortThisShow(p1);
            break;
        default:
            break;
    }
    return 0;
}

void mvrpDbgGlbShow() {
    printf("global info:\n\r");
    printf("\troute sock: %d\n\r", gMvrpInfo.routeSock);
    printf("\tgvrp data sock: %d\n\r", gMvrpInfo.gvrpDataSock);
    printf("\tmvrp data sock: %d\n\r", gMvrpInfo.mvrpDataSock);
    printf("\tdbg sock: %d\n\r", gMvrpInfo.dbgSock);
    printf("\tdebug: %d\n\r", gMvrpInfo.debug);
    printf("\tmax port num: %u\n\r", gMvrpInfo.maxPortNum);
    printf("\tenable: %u\n\r", gMvrpInfo.enable);
    printf("\tgvrp compliance: %u\n\r", gMvrpInfo.gvrpCompliance);
    printf("\trunning role: %u\n\r", gMvrpInfo.runningRole);
    printf("\tmvrp num: %u\n\r", gMvrpInfo.mvrpNum);
    printf("\tvlannum_pertimes: %u\n\r", gMvrpInfo.vlanNumPerTimes);
    printf("\tvlannum_pertimes_agg: %u\n\r", gMvrpInfo.vlanNumPerTimesAgg);
}

void mvrpDbgPortShow() {
    printf("port info:\n\r");
    for (const MvrpPortEntry* port = mvrpPortEntryFirst(); port != nullptr;
         port = mvrpPortEntryNext(port)) {
        mvrpPortPrint(port);
        printf("%s", kSeparator);
    }
}

void mvrpDbgPortThisShow(u32 unit) {
    const MvrpPortEntry* port = mvrpPortEntryGet(unit);
    if (port == nullptr) {
        printf("[%s,%d] no this port entry.(%u)\n\r", "mvrpDbgPortThisShow", kNoPortLine, unit);
        return;
    }
    mvrpPortPrint(port);
    printf("\tvlan flag:\n\r");
    for (u32 vid = kMvrpVlanFirst; vid <= kMvrpVlanLast; ++vid)
        printf("vid %u: %u\n\r", vid, port->vlanFlag[vid - 1]);
    printf("%s", kSeparator);
}

void mvrpDbgPortVlanShow(u32 unit, u32 vid) {
    printf("port %u vlan %u info:\n\r", unit, vid);
    const MvrpPortEntry* port = mvrpPortEntryGet(unit);
    if (port == nullptr) {
        printf("\tport is not exist\n\r");
        return;
    }
    mvrpPortBlockPrint(port);
    if (vid < kMvrpVlanFirst || vid > kMvrpVlanLast)
        return;
    const u8 machine = port->madMachine[vid - 1];
    printf("\tAPPLICANT: %u\n\r", mvrpApplicant(machine));
    printf("\tREGISTRAR: %u\n\r", mvrpRegistrar(machine));
    printf("\tREG-BIT: %u\n\r", mvrpBitTest(&machine, MVRP_REG_BIT));
    printf("\tPROPAGATE-BIT: %u\n\r", mvrpBitTest(&machine, MVRP_PROPAGATE_BIT));
}

void mvrpShowPort() {
    for (const MvrpPortEntry* port = mvrpPortEntryFirst(); port != nullptr;
         port = mvrpPortEntryNext(port)) {
        const u8* mac = port->portMac;
        printf("\r\nportunit %d\r\n", port->portunit);
        printf("enable %d\r\n", port->enable);
        printf("gvrpBindId %s\r\n", MvrpPointerText(port->gvrpBindId).text.data());
        printf("gvrpCompliance %d\r\n", port->gvrpCompliance);
        printf("join_timeout %d\r\n", port->join_timeout);
        printf("joinTimerFlag %d\r\n", port->joinTimerFlag);
        printf("leaveAllTimeout %d\r\n", port->leaveAllTimeout);
        printf("leave_timeout %d\r\n", port->leave_timeout);
        printf("linkState %d\r\n", port->linkState);
        printf("msgNum %d\r\n", port->msgNum);
        printf("mtu %d\r\n", port->mtu);
        printf("mvrp_bind_id %s\r\n", MvrpPointerText(port->mvrp_bind_id).text.data());
        printf("participant_mode %d\r\n", port->participant_mode);
        printf("peerMode %d\r\n", port->peerMode);
        printf("period_trans_timeout %d\r\n", port->period_trans_timeout);
        printf("portMac [%02x:%02x:%02x:%02x:%02x:%02x]\r\n", mac[0], mac[1], mac[2], mac[3],
               mac[4], mac[5]);
        printf("registration_mode %d\r\n", port->registration_mode);
    }
}

u32 mvrpVlandbgSet(u16 vid) {
    gMvrpInfo.dbgVlan = vid;
    return vid;
}

u32 mvrpPortdbgSet(u32 unit) {
    gMvrpInfo.dbgPort = unit;
    return unit;
}
