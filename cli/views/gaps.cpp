// SPDX-License-Identifier: MIT
#include "cli/views/gaps.h"

#include "platform/contract/management.h"
#include "platform/model/vlan_algebra.h"

namespace cli {

using platform::vlanDifference;
using platform::vlanIntersection;

namespace {

bool runs(const PortView& view) {
    return view.settings && view.settings->enabled && view.port.link == 1;
}

}  // namespace

bool saysWhatIsStatic(const PortView& view) {
    return runs(view) && view.settings->participant != MVRP_PARTICIPANT_QUIET;
}

PortGaps gapsOf(const PortView& view, const platform::VlanBitmap& staticVlans) {
    PortGaps gaps;
    if (!runs(view))
        return gaps;
    if (saysWhatIsStatic(view))
        gaps.undeclared =
            vlanDifference(vlanIntersection(staticVlans, view.permitted), view.declared);
    gaps.unmembered = vlanDifference(vlanDifference(view.registered, view.dynamic), staticVlans);
    gaps.unregistered = vlanDifference(view.dynamic, view.registered);
    return gaps;
}

}  // namespace cli
