// SPDX-License-Identifier: MIT
//
// The contract's socket calls, for the installed socket layer.
#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>

#include "platform/net/sockets/socket_layer.h"
#include "platform/runtime/close_hook.h"

namespace platform {
namespace {

std::atomic<SocketLayer*> gLayer{nullptr};

/// Runs a call on the installed layer; without one no descriptor is valid.
template <typename Call>
auto onLayer(Call call) -> decltype(call(*gLayer.load())) {
    SocketLayer* layer = socketLayer();
    if (layer == nullptr) {
        errno = EBADF;
        return -1;
    }
    return call(*layer);
}

}  // namespace

void installSocketLayer(SocketLayer* layer) {
    gLayer.store(layer, std::memory_order_release);
}

SocketLayer* socketLayer() {
    return gLayer.load(std::memory_order_acquire);
}

}  // namespace platform

using platform::onLayer;
using platform::SocketLayer;

int qor_socket(int family, int type, int protocol) {
    return onLayer([=](SocketLayer& layer) { return layer.open(family, type, protocol); });
}

int qor_bind(int socket, const void* address, socklen_t length) {
    return onLayer([=](SocketLayer& layer) { return layer.bind(socket, address, length); });
}

int qor_setsockopt(int socket, int level, int option, const void* value, socklen_t length) {
    return onLayer(
        [=](SocketLayer& layer) { return layer.setOption(socket, level, option, value, length); });
}

int qor_ioctl(int socket, unsigned long request, void* argument) {
    return onLayer([=](SocketLayer& layer) { return layer.control(socket, request, argument); });
}

int qor_select(int count, fd_set* read, fd_set* write, fd_set* except, timeval* timeout) {
    return onLayer(
        [=](SocketLayer& layer) { return layer.select(count, read, write, except, timeout); });
}

ssize_t qor_recvmsg(int socket, msghdr* message, int flags) {
    return onLayer(
        [=](SocketLayer& layer) { return layer.receiveMessage(socket, message, flags); });
}

ssize_t qor_recvfrom(int socket, void* buffer, size_t length, int flags, void* address,
                     socklen_t* addressLength) {
    return onLayer([=](SocketLayer& layer) {
        return layer.receiveFrom(socket, buffer, length, flags, address, addressLength);
    });
}

ssize_t qor_recv(int socket, void* buffer, size_t length, int flags) {
    return qor_recvfrom(socket, buffer, length, flags, nullptr, nullptr);
}

ssize_t qor_sendmsg(int socket, const msghdr* message, int flags) {
    return onLayer([=](SocketLayer& layer) { return layer.sendMessage(socket, message, flags); });
}

/// Connections are served one after the other: one on which nothing comes is given up, so that the
/// next has its turn.
int qor_accept(int socket, void* address, socklen_t* length) {
    constexpr timeval kPatience = {5, 0};
    const int accepted = ::accept4(socket, static_cast<sockaddr*>(address), length, SOCK_CLOEXEC);
    if (accepted >= 0)
        ::setsockopt(accepted, SOL_SOCKET, SO_RCVTIMEO, &kPatience, sizeof kPatience);
    return accepted;
}

int qor_listen(int socket, int backlog) {
    return ::listen(socket, backlog);
}

int qor_close(int socket) {
    const int result = onLayer([=](SocketLayer& layer) { return layer.close(socket); });
    platform::runCloseHook();
    return result;
}
