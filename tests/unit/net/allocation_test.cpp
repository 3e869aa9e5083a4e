// SPDX-License-Identifier: MIT
//
// Frames cost no allocation, in either direction.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "tests/unit/net/net_node.h"

namespace {

std::atomic<bool> gCounting{false};
std::atomic<unsigned> gAllocations{0};

void* allocate(std::size_t size) {
    if (gCounting)
        ++gAllocations;
    if (void* memory = std::malloc(size))
        return memory;
    throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t size) {
    return allocate(size);
}
void* operator new[](std::size_t size) {
    return allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace platform::testing {
namespace {

/// One frame of each kind through the switch, and one back.
void exchange(NetNode& node, const std::vector<frames::Bytes>& in, const frames::Bytes& out) {
    std::array<u8, 3840> buffer;
    for (const frames::Bytes& frame : in) {
        node.net.frameArrived(3, frame, false);
        node.net.frameArrived(5, frame, false);
    }
    for (const int socket : {node.mvrp, node.gvrp}) {
        while (node.sockets.receiveFrom(socket, buffer.data(), buffer.size(), MSG_DONTWAIT, nullptr,
                                        nullptr) > 0) {
        }
    }
    node.net.transmit(3, out);
}

TEST(Frames, CostNoAllocation) {
    const ScratchDirectory directory;
    const std::vector<frames::Bytes> in = {
        frames::nativeFrame("00 01 01 0001 000a 24 0000"),
        frames::ieeeFrame("00 01 02 2001 000a 24 0000 0000"),
        frames::gvrpFrame("0001 01 04 02 000a 00 00"),
        frames::hex("0102"),
    };
    const frames::Bytes& out = in[0];
    NetNode node;
    node.enable(3);
    node.enable(3, kProtocolGvrp);
    node.plug(3, "unix:" + directory.path("a") + "," + directory.path("b"));
    std::string error;
    ASSERT_EQ(node.net.setRecording(3, {directory.path("r.pcap")}, error), HostStatus::Ok);
    node.net.setWireForm(3, WireForm::Ieee);
    exchange(node, in, out);  // what is kept for a port is made by its first frame
    gAllocations = 0;
    gCounting = true;
    exchange(node, in, out);
    gCounting = false;
    EXPECT_EQ(gAllocations, 0U);
    EXPECT_EQ(node.net.counters(3).framesIn, 6U);
    EXPECT_EQ(node.net.counters(5).forwarded, 6U);
}

}  // namespace
}  // namespace platform::testing
