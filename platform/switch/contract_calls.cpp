// SPDX-License-Identifier: MIT
//
// The contract's interface and VLAN services: arguments are checked here, once for all drivers.
#include <algorithm>
#include <atomic>
#include <cstring>
#include <span>

#include "platform/contract/qor_if.h"
#include "platform/contract/qor_vlan.h"
#include "platform/runtime/moment.h"
#include "platform/runtime/tasks/sem.h"
#include "platform/switch/fact_page.h"
#include "platform/switch/switch_driver.h"
#include "platform/switch/switch_observer.h"

namespace platform {
namespace {

std::atomic<SwitchDriver*> gDriver{nullptr};
std::atomic<const SwitchFacts*> gFacts{nullptr};
std::atomic<SwitchObserver*> gObserver{nullptr};

u32 status(bool done) {
    return done ? kStatusOk : kStatusFailed;
}

/// The status of a call that changed the switch, once the observer knows of it.
u32 observed(SwitchCall call, u32 unit, const VlanBitmap& vlans, bool done) {
    timePasses();  // a driver may have asked a kernel
    if (SwitchObserver* observer = gObserver.load(std::memory_order_acquire))
        observer->switchCalled(call, unit, vlans, done);
    return status(done);
}

u32 answer(void* value, u32 word) {
    std::memcpy(value, &word, sizeof word);
    return kStatusOk;
}

/// The lower half of QorPortFacts::port, or 0 when the page does not show the port.
u32 shownOf(u32 unit) {
    const SwitchFacts* facts = gFacts.load(std::memory_order_acquire);
    return facts == nullptr ? 0 : facts->page.portWord(unit);
}

/// The type of a VLAN, 0 for none.
u32 kindOf(const SwitchDriver& driver, u32 vid) {
    if (const SwitchFacts* facts = gFacts.load(std::memory_order_acquire))
        return facts->page.typeOf(vid);
    const std::optional<QorVlanType> type = driver.vlanType(vid);
    return type ? static_cast<u32>(*type) : 0;
}

/// Copies into the caller's buffer, which has to hold all of it.
u32 answer(void* value, std::span<const u8> bytes) {
    const QorBuffer& buffer = *static_cast<const QorBuffer*>(value);
    if (buffer.data == nullptr || buffer.length < bytes.size())
        return kStatusFailed;
    std::memcpy(buffer.data, bytes.data(), bytes.size());
    return kStatusOk;
}

u32 readState(const SwitchDriver& driver, u32 unit, QorIfAttribute attribute, void* value) {
    PortState state{};
    if (!driver.portState(unit, state))
        return kStatusFailed;
    switch (attribute) {
        case QorIfAttribute::LinkState:
            return answer(value, state.linkUp ? 1 : 0);
        case QorIfAttribute::Mtu:
            return answer(value, state.mtu);
        case QorIfAttribute::Eligible:
            return answer(value, state.eligible ? 1 : 0);
        case QorIfAttribute::Pvid:
            return answer(value, state.pvid);
        default:
            return answer(value, state.mac);
    }
}

u32 readVlans(const SwitchDriver& driver, u32 unit, VlanSet which, void* value) {
    VlanBitmap vlans{};
    return driver.portVlans(unit, which, vlans) ? answer(value, vlans) : kStatusFailed;
}

u32 readAdmission(SwitchDriver& driver, u32 unit, u32 vid) {
    if ((shownOf(unit) & QorPortFacts::kAdmitsAll) != 0 && vid >= kFirstVlan && vid <= kLastVlan)
        [[likely]]
        return kStatusOk;
    const Admission answer = driver.admit(unit, vid);
    SwitchObserver* observer = gObserver.load(std::memory_order_acquire);
    if (answer != Admission::Admitted && observer != nullptr)
        observer->registrationRefused(unit, vid, answer);
    return status(answer == Admission::Admitted);
}

u32 readInterfaceVid(const SwitchDriver& driver, u32 unit, void* value) {
    QorIndexInfo info{};
    const bool exists = driver.describeIndex(unit, info) &&
                        info.endType == static_cast<u32>(QorEndType::Vlan) &&
                        driver.vlanType(info.vid).has_value();
    return exists ? answer(value, info.vid) : kStatusFailed;
}

/// The caller's bitmap, cut to its length and to `bitCount` bits where that is given.
bool readBitmap(const void* descriptor, u32 bitCount, VlanBitmap& vlans) {
    if (descriptor == nullptr)
        return false;
    const QorBuffer& buffer = *static_cast<const QorBuffer*>(descriptor);
    if (buffer.data == nullptr && buffer.length != 0)
        return false;
    if (buffer.length != 0)
        std::memcpy(vlans.data(), buffer.data, std::min<std::size_t>(buffer.length, vlans.size()));
    for (u32 vid = bitCount + 1; bitCount != 0 && vid <= vlans.size() * 8; ++vid)
        vlanErase(vlans, vid);
    return true;
}

}  // namespace

void installSwitchDriver(SwitchDriver* driver) {
    gFacts.store(driver == nullptr ? nullptr : driver->facts(), std::memory_order_release);
    gDriver.store(driver, std::memory_order_release);
}

void installSwitchObserver(SwitchObserver* observer) {
    gObserver.store(observer, std::memory_order_release);
}

SwitchDriver* switchDriver() {
    return gDriver.load(std::memory_order_acquire);
}

}  // namespace platform

u32 qorIfGetApi(u32 unit, u32 attribute, void* value) {
    using namespace platform;
    SwitchDriver* driver = switchDriver();
    if (driver == nullptr || value == nullptr)
        return kStatusFailed;
    if (attribute == static_cast<u32>(QorIfAttribute::Pvid)) {
        // Asked with each VLAN of a received frame.
        if (const u32 shown = shownOf(unit); shown != 0) [[likely]]
            return answer(value, shown & QorPortFacts::kPvidMask);
    }
    switch (static_cast<QorIfAttribute>(attribute)) {
        case QorIfAttribute::LinkState:
        case QorIfAttribute::MacAddress:
        case QorIfAttribute::Mtu:
        case QorIfAttribute::Eligible:
        case QorIfAttribute::Pvid:
            return readState(*driver, unit, static_cast<QorIfAttribute>(attribute), value);
        case QorIfAttribute::PermittedTagged:
            return readVlans(*driver, unit, VlanSet::PermittedTagged, value);
        case QorIfAttribute::Permitted:
            return readVlans(*driver, unit, VlanSet::Permitted, value);
        case QorIfAttribute::DynamicMembership:
            return readVlans(*driver, unit, VlanSet::Dynamic, value);
        case QorIfAttribute::PermittedVlan: {
            u32 vid = 0;
            std::memcpy(&vid, value, sizeof vid);
            return status(driver->permits(unit, vid));
        }
        case QorIfAttribute::AdmittedVlan: {
            u32 vid = 0;
            std::memcpy(&vid, value, sizeof vid);
            return readAdmission(*driver, unit, vid);
        }
        case QorIfAttribute::VlanIdOfInterface:
            return readInterfaceVid(*driver, unit, value);
        default:
            return kStatusFailed;
    }
}

const QorPortFacts* qorPortFacts(u32 unit) {
    const platform::SwitchFacts* facts = platform::gFacts.load(std::memory_order_acquire);
    return facts == nullptr ? nullptr : facts->page.port(unit);
}

u32 qorIfSetApi(u32 unit, u32 attribute, void* value) {
    using namespace platform;
    SwitchDriver* driver = switchDriver();
    if (driver == nullptr || value == nullptr)
        return kStatusFailed;
    u32 protocol = 0;
    std::memcpy(&protocol, value, sizeof protocol);
    switch (static_cast<QorIfAttribute>(attribute)) {
        case QorIfAttribute::ProtocolEnable:
            return observed(SwitchCall::Protocol, unit, {},
                            driver->setProtocol(unit, protocol, true));
        case QorIfAttribute::ProtocolDisable:
            return observed(SwitchCall::Protocol, unit, {},
                            driver->setProtocol(unit, protocol, false));
        default:
            return kStatusFailed;
    }
}

u32 qorIfSyncApi(u32 unit, u32 attribute, void* descriptor, u32 bitCount) {
    using namespace platform;
    SwitchDriver* driver = switchDriver();
    VlanBitmap vlans{};
    if (driver == nullptr || !readBitmap(descriptor, bitCount, vlans))
        return kStatusFailed;
    finishPutOffWork();  // what was sent before need not wait for the switch
    switch (static_cast<QorIfAttribute>(attribute)) {
        case QorIfAttribute::AddDynamic:
            return observed(SwitchCall::AddMembers, unit, vlans, driver->addDynamic(unit, vlans));
        case QorIfAttribute::RemoveDynamic:
            return observed(SwitchCall::RemoveMembers, unit, vlans,
                            driver->removeDynamic(unit, vlans));
        default:
            return kStatusFailed;
    }
}

u32 qorIfUnit2Name(u32 unit, char* name, u32 size) {
    using namespace platform;
    const SwitchDriver* driver = switchDriver();
    std::string text;
    if (driver == nullptr || name == nullptr || size == 0 || !driver->portName(unit, text))
        return kStatusFailed;
    name[text.copy(name, size - 1)] = '\0';
    return kStatusOk;
}

u32 qorIndexTrans(u32 index, u32 kind, void* out) {
    using namespace platform;
    const SwitchDriver* driver = switchDriver();
    QorIndexInfo info{};
    if (driver == nullptr || out == nullptr || kind != kIndexTransEndType ||
        !driver->describeIndex(index, info))
        return kStatusFailed;
    std::memcpy(out, &info, sizeof info);
    return kStatusOk;
}

u32 qorVlanGetApi(u32 vid, u32 attribute, void* value) {
    using namespace platform;
    const SwitchDriver* driver = switchDriver();
    if (driver == nullptr || value == nullptr)
        return kStatusFailed;
    const u32 kind = kindOf(*driver, vid);
    if (kind == 0)
        return kStatusFailed;
    switch (static_cast<QorVlanAttribute>(attribute)) {
        case QorVlanAttribute::Type:
            return answer(value, kind);
        case QorVlanAttribute::Exists:
            return answer(value, 1);
        default:
            return kStatusFailed;
    }
}

u32 qorVlanScalarSyncApi(u32 /*unit*/, u32 attribute, void* descriptor) {
    using namespace platform;
    SwitchDriver* driver = switchDriver();
    VlanBitmap vlans{};
    if (driver == nullptr || !readBitmap(descriptor, 0, vlans))
        return kStatusFailed;
    switch (static_cast<QorVlanAttribute>(attribute)) {
        case QorVlanAttribute::CreateDynamic:
            return observed(SwitchCall::CreateVlans, 0, vlans, driver->createDynamic(vlans));
        case QorVlanAttribute::DeleteDynamic:
            return observed(SwitchCall::DeleteVlans, 0, vlans, driver->deleteDynamic(vlans));
        default:
            return kStatusFailed;
    }
}
