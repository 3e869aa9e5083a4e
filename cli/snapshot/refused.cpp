// SPDX-License-Identifier: MIT
//
// What neighbours declare and what of it did not come onto a port.
#include "cli/snapshot/snapshot.h"
#include "cli/views/statistics.h"
#include "cli/views/vlan_groups.h"
#include "platform/contract/management.h"
#include "platform/model/vlan_algebra.h"

namespace cli {

namespace {

using platform::FailedRegistration;
using platform::VlanBitmap;

constexpr u64 kMsPerSecond = 1000;
/// A LeaveAll is sent after up to one and a half of its time, and any of them asks for all VLANs.
constexpr u64 kLeaveAllsHeard = 2;

const char* keyOf(FailedRegistration reason) {
    return kFailureNames.at(static_cast<std::size_t>(reason)).key;
}

/// Adds what remains in `left` and in `barred` for one reason, and takes it out of `left`.
void refuse(FailedRegistration reason, const VlanBitmap& barred, VlanBitmap& left,
            std::vector<RefusedVlans>& list) {
    const VlanBitmap vlans = platform::vlanIntersection(left, barred);
    if (platform::vlanIsEmpty(vlans))
        return;
    left = platform::vlanDifference(left, vlans);
    list.push_back({keyOf(reason), vlans});
}

}  // namespace

VlanBitmap heardVlans(const PortSnapshot& port) {
    VlanBitmap vlans{};
    if (!port.view.settings || port.view.port.link != 1)
        return vlans;
    const u64 longest =
        kLeaveAllsHeard * port.view.settings->leaveAllTime + port.view.settings->leaveTime;
    for (const platform::VlanTimeRun& run : port.heard)
        for (u32 vid = run.firstVid; vid <= run.lastVid && run.agoSeconds * kMsPerSecond <= longest;
             ++vid)
            platform::vlanInsert(vlans, vid);
    return vlans;
}

std::vector<RefusedVlans> refusedVlans(const PortSnapshot& port, const VlanBitmap& staticVlans) {
    std::vector<RefusedVlans> list;
    const PortView& view = port.view;
    if (!view.settings || !view.settings->enabled)
        return list;
    const VlanBitmap all = platform::vlanRange(platform::kFirstVlan, platform::kLastVlan);
    VlanBitmap left = platform::vlanDifference(heardVlans(port), view.dynamic);
    refuse(FailedRegistration::NotPermitted, platform::vlanDifference(all, view.permitted), left,
           list);
    left = platform::vlanDifference(left, staticVlans);
    if (view.settings->registration == MVRP_REGISTRATION_FORBIDDEN)
        refuse(FailedRegistration::Forbidden, all, left, list);
    else if (view.settings->registration == MVRP_REGISTRATION_FIXED)
        refuse(FailedRegistration::Fixed, all, left, list);
    left = platform::vlanDifference(left, view.registered);
    if (port.maxVlans != 0 && countVlans(view.registered) >= port.maxVlans)
        refuse(FailedRegistration::TooMany, all, left, list);
    return list;
}

}  // namespace cli
