// SPDX-License-Identifier: MIT
//
// Others' changes, the daemon's, lost notifications, refusals and kills in random order. At the end
// the kernel holds exactly what others configured and what the daemon wants, and after the daemon's
// end exactly what others configured.
#include <cerrno>
#include <map>
#include <random>

#include "platform/model/vlan_algebra.h"
#include "tests/unit/linux/linux_harness.h"

namespace platform::testing {
namespace {

constexpr u32 kVlans = 12;  ///< few, so that they meet
constexpr std::array<u32, 4> kPorts = {kEth0, kEth1, kTap, 9};

class World {
  public:
    explicit World(u32 seed) : random_(seed) {
        for (const u32 port : kPorts)
            if (port != kEth0 && port != kEth1) {
                node_.kernel.addLink(port, "tap" + std::to_string(port));
                node_.kernel.enslave(port, kBridge);
            }
        for (const u32 port : kPorts)
            others_[port] = vlanSet({1});
        others_[kBridge] = vlanSet({1});
        node_.start();
        node_.driver->removeUnclaimed();
        enableSome();
    }

    void step() {
        switch (pick(11)) {
            case 0:
            case 1:
                return othersAdd();
            case 2:
                return othersRemove();
            case 3:
            case 4:
                return learn();
            case 5:
                return forget();
            case 6:
                return wipe();
            case 7:
                return reenslave();
            case 8:
                return node_.kernel.loseEvents();
            case 9:
                return node_.kernel.failChanges(1 + pick(3), ENOMEM);
            default:
                return pick(3) == 0 ? restart() : settle();
        }
    }

    /// Everything comes to rest, then is compared.
    void check(const std::string& when) {
        node_.kernel.failChanges(0, 0);
        settle();
        node_.settleAfter(kLingerMs);
        node_.settleAfter(kLongestDisputeMs);
        const VlanBitmap statics = staticVlans();
        for (const u32 port : kPorts) {
            VlanBitmap wanted = vlanUnion(others_[port], dynamicOf(port));
            if (takesPart(port))
                wanted = vlanUnion(wanted, statics);
            EXPECT_EQ(node_.carried(port), formatVlanRanges(wanted)) << when << " port " << port;
        }
        for (u32 vid = 1; vid <= kVlans; vid++)
            EXPECT_EQ(node_.type(vid) == kStaticType, vlanContains(statics, vid))
                << when << " VLAN " << vid;
    }

    void end() {
        node_.driver->stop(Ending::Stop);
        for (const u32 port : kPorts)
            EXPECT_EQ(node_.carried(port), formatVlanRanges(others_[port])) << "end, port " << port;
        for (const u32 port : kPorts)
            EXPECT_FALSE(node_.kernel.guarded(port));
    }

  private:
    u32 pick(u32 below) { return static_cast<u32>(random_() % below); }
    u32 somePort() { return kPorts[pick(kPorts.size())]; }
    VlanBitmap someVlans() {
        VlanBitmap vlans{};
        for (u32 count = 1 + pick(3); count > 0; count--)
            vlanInsert(vlans, 2 + pick(kVlans - 1));
        return vlans;
    }
    void settle() { node_.settleAfter(pick(kLingerMs)); }
    bool takesPart(u32 port) { return node_.driver->framePolicy(port).takesPart(); }
    VlanBitmap dynamicOf(u32 port) {
        VlanBitmap vlans{};
        EXPECT_TRUE(node_.driver->portVlans(port, VlanSet::Dynamic, vlans));
        return vlans;
    }
    VlanBitmap staticVlans() {
        VlanBitmap all{};
        for (const auto& [index, vlans] : others_)
            all = vlanUnion(all, vlans);
        return all;
    }
    void enableSome() {
        node_.enable(kEth0);
        node_.enable(kEth1);
    }

    /// An entry that is there already is no news to the kernel: it stays whose it is. One that
    /// others removed and add before anybody looked can not be told from the daemon's.
    void othersAdd() {
        settle();
        const u32 index = pick(5) == 0 ? kBridge : somePort();
        const VlanBitmap vlans = vlanDifference(someVlans(), node_.kernel.vlansOf(index).carried);
        node_.kernel.addVlans(index, vlans);
        others_[index] = vlanUnion(others_[index], vlans);
        settle();
    }
    void othersRemove() {
        const u32 index = pick(5) == 0 ? kBridge : somePort();
        const VlanBitmap vlans = vlanIntersection(someVlans(), others_[index]);
        node_.kernel.removeVlans(index, vlans);
        others_[index] = vlanDifference(others_[index], vlans);
        settle();
    }
    void learn() {
        const u32 port = pick(2) == 0 ? kEth0 : kEth1;
        node_.learn(port, someVlans());
    }
    void forget() {
        const u32 port = pick(2) == 0 ? kEth0 : kEth1;
        node_.driver->removeDynamic(port, someVlans());
        node_.driver->deleteDynamic(vlanRange(1, 4094));
    }
    /// Others remove what is not theirs.
    void wipe() {
        const u32 port = somePort();
        node_.kernel.removeVlans(port, vlanDifference(someVlans(), others_[port]));
    }
    void reenslave() {
        const u32 port = somePort();
        node_.kernel.release(port);
        node_.kernel.enslave(port, kBridge);
        others_[port] = vlanSet({1});
        settle();
    }
    void restart() {
        settle();
        node_.kernel.failChanges(0, 0);
        node_.start();
        enableSome();
        if (pick(2) == 0)
            node_.driver->removeUnclaimed();
    }

    std::mt19937 random_;
    LinuxNode node_;
    std::map<u32, VlanBitmap> others_;  ///< by port or bridge
};

class LinuxRandom : public ::testing::TestWithParam<u32> {};

TEST_P(LinuxRandom, TheKernelHoldsWhatOthersConfiguredAndWhatIsWanted) {
    World world(GetParam());
    for (u32 step = 1; step <= 150 && !HasFailure(); step++) {
        world.step();
        if (step % 10 == 0)
            world.check("step " + std::to_string(step));
    }
    world.end();
}

INSTANTIATE_TEST_SUITE_P(Seeds, LinuxRandom, ::testing::Range(1U, 41U));

}  // namespace
}  // namespace platform::testing
