// SPDX-License-Identifier: MIT
#include "tests/kernel/stream.h"

#include <arpa/inet.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace {

constexpr int kFailed = 1;
constexpr std::uint16_t kLocalExperimental = 0x88B5;  // IEEE 802, local experimental use
constexpr long kPeriodNs = 10'000'000;
constexpr long kSecondNs = 1'000'000'000;
constexpr int kReceiveBytes = 4 << 20;

volatile std::sig_atomic_t ended = 0;

/// SIGTERM interrupts what waits.
void endAtTerm() {
    struct sigaction action {};
    action.sa_handler = [](int) { ended = 1; };
    sigaction(SIGTERM, &action, nullptr);
}

int fail(const std::string& interface, const char* what) {
    std::fprintf(stderr, "kernel-probe: %s: %s: %s\n", interface.c_str(), what,
                 std::strerror(errno));
    return kFailed;
}

sockaddr_ll addressOf(const std::string& interface) {
    sockaddr_ll address{};
    address.sll_family = AF_PACKET;
    address.sll_protocol = htons(kLocalExperimental);
    address.sll_ifindex = static_cast<int>(if_nametoindex(interface.c_str()));
    address.sll_halen = ETH_ALEN;
    std::memset(address.sll_addr, 0xFF, ETH_ALEN);
    return address;
}

/// @return a socket for the probes of an interface, or -1
int openSocket(const sockaddr_ll& address) {
    const int opened = socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC, htons(kLocalExperimental));
    if (opened >= 0 &&
        bind(opened, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        close(opened);
        return -1;
    }
    return opened;
}

void addPeriod(timespec& time) {
    time.tv_nsec += kPeriodNs;
    if (time.tv_nsec >= kSecondNs) {
        time.tv_nsec -= kSecondNs;
        time.tv_sec++;
    }
}

/// Waits for the next period; from now on when that has gone by.
void awaitPeriod(timespec& next) {
    addPeriod(next);
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    if (now.tv_sec > next.tv_sec || (now.tv_sec == next.tv_sec && now.tv_nsec > next.tv_nsec))
        next = now;
    else
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr);
}

/// Of the monotonic clock.
long long nowMs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000LL + now.tv_nsec / 1'000'000;
}

/// What has come of a stream.
struct Tally {
    std::uint32_t received = 0;
    std::uint32_t last = 0;
    long long lastMs = 0;

    void take(std::uint32_t number) {
        const long long now = nowMs();
        if (received == 0)
            std::printf("first %u\n", number);
        else if (number > last + 1)
            std::printf("lost %u-%u in %lld ms\n", last + 1, number - 1, now - lastMs);
        else if (number <= last)
            std::printf("again %u\n", number);
        received++;
        last = number;
        lastMs = now;
    }
};

}  // namespace

int sendProbes(const std::string& interface) {
    endAtTerm();
    const sockaddr_ll address = addressOf(interface);
    const int socket = openSocket(address);
    if (socket < 0)
        return fail(interface, "no socket");
    std::uint32_t number = 0;
    timespec next{};
    for (clock_gettime(CLOCK_MONOTONIC, &next); ended == 0; awaitPeriod(next)) {
        const std::uint32_t probe = htonl(number + 1);
        // An interface that is down loses it.
        if (sendto(socket, &probe, sizeof probe, 0, reinterpret_cast<const sockaddr*>(&address),
                   sizeof address) != sizeof probe &&
            errno != ENETDOWN)
            return fail(interface, "a probe was not sent");
        number++;
    }
    std::printf("sent %u\n", number);
    close(socket);
    return 0;
}

int receiveProbes(const std::string& interface) {
    setvbuf(stdout, nullptr, _IOLBF, 0);
    endAtTerm();
    const int socket = openSocket(addressOf(interface));
    if (socket < 0)
        return fail(interface, "no socket");
    setsockopt(socket, SOL_SOCKET, SO_RCVBUFFORCE, &kReceiveBytes, sizeof kReceiveBytes);
    std::printf("watching\n");
    Tally tally;
    while (ended == 0) {
        std::uint32_t probe = 0;
        sockaddr_ll from{};
        socklen_t length = sizeof from;
        const ssize_t count =
            recvfrom(socket, &probe, sizeof probe, 0, reinterpret_cast<sockaddr*>(&from), &length);
        if (count == sizeof probe && from.sll_pkttype != PACKET_OUTGOING)
            tally.take(ntohl(probe));
    }
    std::printf("received %u last %u\n", tally.received, tally.last);
    close(socket);
    return 0;
}
