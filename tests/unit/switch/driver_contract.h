// SPDX-License-Identifier: MIT
//
// The contract that every switch driver keeps, as tests against the abstract driver. A driver's
// tests link driver_contract.cpp and instantiate the suite with a factory of their own.
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "platform/model/vlan_algebra.h"
#include "platform/switch/switch_driver.h"

namespace platform::testing {

/// A driver with two ports that are trunks: VLAN 1 untagged and PVID, 2 to 4094 tagged, link up,
/// eligible, no protocol enabled; and VLAN 1 as the only VLAN. The other calls are what an
/// administrator does with the means of the driver's own surroundings.
class DriverHarness {
  public:
    virtual ~DriverHarness() = default;
    virtual SwitchDriver& driver() = 0;
    virtual u32 firstPort() const = 0;
    virtual u32 secondPort() const = 0;
    virtual u32 missingPort() const = 0;

    virtual void createStaticVlans(const VlanBitmap& vlans) = 0;
    virtual void deleteVlans(const VlanBitmap& vlans) = 0;
    virtual void setLink(u32 port, bool up) = 0;
};

using HarnessFactory = std::unique_ptr<DriverHarness> (*)();

/// Installs the driver behind the contract for the length of a test.
class DriverContract : public ::testing::TestWithParam<HarnessFactory> {
  protected:
    void SetUp() override;
    void TearDown() override;

    DriverHarness& harness() { return *harness_; }
    u32 port() const { return harness_->firstPort(); }
    u32 otherPort() const { return harness_->secondPort(); }

  private:
    std::unique_ptr<DriverHarness> harness_;
};

// The contract's calls with C++ arguments.
u32 readWord(u32 unit, QorIfAttribute attribute, u32& value);
u32 readVlans(u32 unit, QorIfAttribute attribute, VlanBitmap& vlans);
u32 setProtocol(u32 unit, QorIfAttribute attribute, u32 protocol);
u32 syncPort(u32 unit, QorIfAttribute attribute, VlanBitmap vlans);
u32 syncVlans(QorVlanAttribute attribute, VlanBitmap vlans);
/// QorVlanType of a VLAN, 0 when it does not exist.
u32 typeOf(u32 vid);
VlanBitmap dynamicOf(u32 unit);

inline VlanBitmap vlanSet(std::initializer_list<u32> vids) {
    VlanBitmap set{};
    for (const u32 vid : vids)
        vlanInsert(set, vid);
    return set;
}

}  // namespace platform::testing
