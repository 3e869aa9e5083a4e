// SPDX-License-Identifier: MIT
//
// The platform's socket layer: POSIX argument types, the platform's own numbers. A host maps what
// it has onto them and passes none of the platform's option or group numbers to its own kernel.
#pragma once

#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/types.h>
#include <unistd.h>  // unlink(), for the paths of local sockets

#include "platform/contract/types.h"

inline constexpr int kQorFamilyLocal = 1;
inline constexpr int kQorFamilyRoute = 16;
inline constexpr int kQorFamilyPacket = 17;
inline constexpr int kQorTypeStream = 1;
inline constexpr int kQorTypeDatagram = 2;
inline constexpr int kQorTypeRaw = 3;

/// Protocol argument of the raw sockets: the MVRP ethertype, and the platform's number for GVRP.
inline constexpr int kQorProtocolMvrp = 0x88F5;
inline constexpr int kQorProtocolGvrp = 0x2042;

inline constexpr int kQorLevelSocket = 1;    ///< SOL_SOCKET
inline constexpr int kQorLevelPacket = 263;  ///< SOL_PACKET
inline constexpr int kQorLevelRoute = 270;
inline constexpr int kQorOptionReceiveBuffer = 8;     ///< SO_RCVBUF, bytes (u32)
inline constexpr int kQorOptionOwner = 0x1019;        ///< protocol id that owns the socket (u32)
inline constexpr int kQorOptionMatchAdd = 0x101A;     ///< QorReceiveMatch
inline constexpr int kQorOptionMatchRemove = 0x101B;  ///< QorReceiveMatch
inline constexpr int kQorOptionPacketInfo = 20;       ///< level packet: attach QorPacketInfo (u32)
inline constexpr int kQorOptionAddMembership = 1;     ///< level route: join a group (u32)

inline constexpr unsigned long kQorIoctlNonBlocking = 0x5421;         ///< FIONBIO, s32
inline constexpr unsigned long kQorIoctlBytesWaiting = 0x4004667FUL;  ///< bytes waiting, s32 out

/// Link-layer address of a frame: where it came from, or where it goes.
struct QorLinkAddress {
    u16 family;
    u16 protocol;
    s32 interfaceIndex;  ///< port unit
    u16 hardwareType;
    u8 packetType;
    u8 addressLength;
    u8 address[8];
};
static_assert(sizeof(QorLinkAddress) == 20);

/// Address of the route socket.
struct QorRouteAddress {
    u16 family;
    u16 pad;
    u32 portId;
    u32 groups;
};
static_assert(sizeof(QorRouteAddress) == 12);

/// Header of one item of ancillary data. `length` counts the header; the next item starts at the
/// length rounded up to 4.
struct QorControlHeader {
    u32 length;
    s32 level;
    s32 type;
};
static_assert(sizeof(QorControlHeader) == 12);

/// What the platform attaches to each received frame (level kQorLevelPacket, type
/// kQorOptionPacketInfo).
struct QorPacketInfo {
    u8 reserved0[16];
    u8 pduOffset;  ///< where in the receive buffer the PDU begins
    u8 reserved1[39];
    u8 destination[6];  ///< destination MAC of the frame
    u8 reserved2[2];
};
static_assert(sizeof(QorPacketInfo) == 64);

/// One receive match: frames from a port, or to a MAC, that belong to a layer-2 tunnel.
struct QorReceiveMatch {
    u32 interfaceIndex;
    u32 kind;  ///< 1: value is the interface index; 2: value is a MAC
    u8 operation;
    u8 length;  ///< of the record: 28
    u8 reserved[2];
    u8 value[16];
};
static_assert(sizeof(QorReceiveMatch) == 28);

// Arguments and results are those of the POSIX calls of the same names.
int qor_socket(int family, int type, int protocol);
int qor_bind(int socket, const void* address, socklen_t length);
int qor_setsockopt(int socket, int level, int option, const void* value, socklen_t length);
int qor_ioctl(int socket, unsigned long request, void* argument);
int qor_select(int count, fd_set* read, fd_set* write, fd_set* except, timeval* timeout);
/// One frame a call; the link-layer address is a QorLinkAddress, the control data as above.
ssize_t qor_recvmsg(int socket, msghdr* message, int flags);
ssize_t qor_recvfrom(int socket, void* buffer, size_t length, int flags, void* address,
                     socklen_t* addressLength);
ssize_t qor_recv(int socket, void* buffer, size_t length, int flags);
ssize_t qor_sendmsg(int socket, const msghdr* message, int flags);
int qor_accept(int socket, void* address, socklen_t* length);
int qor_listen(int socket, int backlog);
int qor_close(int socket);
