// SPDX-License-Identifier: MIT
#include "tests/unit/channel/fake_daemon.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <string_view>

#include "platform/contract/process.h"
#include "platform/contract/sil.h"

namespace fake {
namespace {

constexpr std::array<u32, 2> kPorts = {3, 9};
constexpr std::string_view kVersion = "MVRP test version";

bool isPort(u32 unit) {
    return std::ranges::find(kPorts, unit) != kPorts.end();
}

void note(const std::string& call) {
    daemon().calls.push_back(call);
}

u32 portFirst(u32* unit) {
    *unit = kPorts[0];
    return 0;
}

u32 portNext(u32 unit, u32* next) {
    const auto found = std::ranges::upper_bound(kPorts, unit);
    if (found == kPorts.end())
        return kNoSuchPort;
    *next = *found;
    return 0;
}

u32 portGet(u32 unit, u32 attribute, void* value) {
    const std::lock_guard lock(daemon().guard);
    u32& number = *static_cast<u32*>(value);
    if (!isPort(unit))
        return kNoSuchPort;
    if (attribute == 0 || attribute > 11)
        return 22;
    if (attribute >= 8) {
        if (number < 1 || number > 4094)
            return 22;
        number = attribute == 8 ? number % 13 : attribute == 9 ? number % 4 : number % 2;
        return 0;
    }
    number = daemon().attributes[{unit, attribute}];
    return 0;
}

bool timesFit(u32 unit, u32 attribute, u32 number) {
    auto times = [unit, attribute, number](u32 which) {
        return which == attribute ? number : daemon().attributes[{unit, which}];
    };
    return 2 * times(5) <= times(6) && times(6) <= times(7);
}

u32 portSet(u32 unit, u32 attribute, void* value) {
    const std::lock_guard lock(daemon().guard);
    const u32 number = *static_cast<u32*>(value);
    if (!isPort(unit))
        return kNoSuchPort;
    if (daemon().checksTimes && attribute >= 5 && !timesFit(unit, attribute, number))
        return kRefused;
    note("set port " + std::to_string(unit) + " " + std::to_string(attribute) + " = " +
         std::to_string(number));
    daemon().attributes[{unit, attribute}] = number;
    return 0;
}

u32 scalarGet(u32, u32 attribute, void* value) {
    const std::lock_guard lock(daemon().guard);
    if (attribute == 5) {
        auto& buffer = *static_cast<QorBuffer*>(value);
        if (buffer.data == nullptr || buffer.length == 0)
            return 22;
        std::memcpy(buffer.data, kVersion.data(),
                    std::min<std::size_t>(buffer.length, kVersion.size()));
        return 0;
    }
    if (attribute == 0 || attribute > 8)
        return 22;
    *static_cast<u32*>(value) = daemon().scalars[attribute];
    return 0;
}

u32 readStatus(QorBuffer& buffer) {
    constexpr std::array<u32, 3> kStatus = {1, 0, 2};
    if (buffer.data == nullptr || buffer.length < sizeof kStatus) {
        silTakeSem(daemon().sem, -1);
        return kStatusFailed;
    }
    buffer.length = sizeof kStatus;
    std::memcpy(buffer.data, kStatus.data(), sizeof kStatus);
    return 0;
}

u32 scalarSet(u32, u32 attribute, void* value) {
    const std::lock_guard lock(daemon().guard);
    if (attribute == 8)
        return readStatus(*static_cast<QorBuffer*>(value));
    if (attribute == 4) {
        const auto& buffer = *static_cast<QorBuffer*>(value);
        const auto* bytes = static_cast<const u8*>(buffer.data);
        daemon().packet.assign(bytes, bytes + buffer.length);
        return bytes == nullptr ? 22 : 0;
    }
    const u32 number = *static_cast<u32*>(value);
    if (attribute == kScalarRefuses)
        return kRefused;
    if (attribute == kScalarKeepsLock && daemon().scalars[1] != 1) {
        silTakeSem(daemon().sem, -1);
        return kRefused;
    }
    note("set scalar " + std::to_string(attribute) + " = " + std::to_string(number));
    daemon().scalars[attribute] = number;
    return 0;
}

constexpr std::array<IcmFunc, 9> kTable = {{
    {0, std::monostate{}},
    {1, portFirst},
    {2, portNext},
    {3, portGet},
    {4, portSet},
    {5, portSet},
    {6, scalarGet},
    {7, scalarSet},
    {8, scalarSet},
}};

u32 shout(u32 p1, u32, u32) {
    std::printf("shout %u\n\r", p1);
    return 0;
}

constexpr std::array<ShellFunc, 1> kFunctions = {{{"shout", 1, shout}}};

}  // namespace

Daemon& daemon() {
    static Daemon record;
    return record;
}

void reset() {
    Daemon& record = daemon();
    const std::lock_guard lock(record.guard);
    silDeleteSem(record.sem);
    record.sem = silCreateMSem(0);
    record.scalars.clear();
    record.attributes.clear();
    record.packet.clear();
    record.calls.clear();
    record.checksTimes = false;
}

std::span<const IcmFunc> table() {
    return kTable;
}

}  // namespace fake

const std::span<const ShellFunc> gMvrpShellMap = fake::kFunctions;
