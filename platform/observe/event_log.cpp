// SPDX-License-Identifier: MIT
#include "platform/observe/event_log.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "platform/model/vlan_algebra.h"
#include "platform/runtime/log_line.h"
#include "platform/runtime/tasks/thread.h"

namespace platform {
namespace {

constexpr u32 kStack = 128 * 1024;
/// Looks are at multiples of this time from the start; what happens in between is gathered.
constexpr std::chrono::milliseconds kLookEvery{100};
/// Nobody tells of silence.
constexpr std::chrono::milliseconds kLookWithoutNews{kLookForSilenceMs};

u64 msOf(EventLog::Clock::time_point time) {
    return static_cast<u64>(
        std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count());
}

void sayOfPort(LogEvent event, u32 unit, const std::string& name, const std::string& text,
               const VlanBitmap* vlans = nullptr) {
    const std::string whole = name + ": " + text;
    writeLog({.event = event, .unit = unit, .port = name, .vlans = vlans, .text = whole});
}

std::string silenceText(u64 silentMs) {
    return "nothing was heard of it for " + std::to_string(silentMs / 1000) + " s";
}

}  // namespace

std::string vlanWords(const VlanBitmap& vlans) {
    u32 count = 0;
    vlanForEach(vlans, [&count](u32) { count++; });
    std::string text = formatVlanRanges(vlans);
    if (text.size() > kMostVlanText) {
        text.resize(text.rfind(',', kMostVlanText) + 1);
        text += "... (" + std::to_string(count) + " of them)";
    }
    return (count == 1 ? "VLAN " : "VLANs ") + text;
}

EventLog::EventLog(const SwitchDriver& driver, ChangeFeed& feed, FrameBook& frames)
    : driver_(driver), feed_(feed), frames_(frames) {}

void EventLog::readPorts() {
    if (!feed_.portsNow(asOf_, read_))
        return;
    for (auto& [unit, port] : ports_)
        port.there = false;
    for (const PortNow& now : read_) {
        Port& port = ports_[now.unit];
        port.there = true;
        port.now = now;
        driver_.portName(now.unit, port.name);
    }
}

void EventLog::begin() {
    readPorts();
    std::size_t up = 0;
    for (auto& [unit, port] : ports_) {
        port.said = port.now;
        up += port.now.linkUp ? 1 : 0;
    }
    if (!ports_.empty())
        logMessage(LogPriority::Notice, "ports: %zu, with a link: %zu", ports_.size(), up);
}

void EventLog::start() {
    const bool started = startThread("mvrpevents", kStack, [this] {
        const Clock::time_point begin = Clock::now();
        for (bool unsaid = false;;) {
            if (!unsaid)
                news_.await(kLookWithoutNews);
            std::this_thread::sleep_until(begin +
                                          ((Clock::now() - begin) / kLookEvery + 1) * kLookEvery);
            news_.take();
            unsaid = look(Clock::now());
        }
    });
    if (!started)
        logMessage(LogPriority::Error, "no thread to say in the log what happens on the ports");
}

bool EventLog::look(Clock::time_point now) {
    readPorts();
    unsaid_ = false;
    noted_.clear();
    down_.clear();
    for (auto& [unit, port] : ports_)
        notePort(unit, port, now);
    sayPorts(LogEvent::PortAdded, "the port is there", "ports are there");
    sayPorts(LogEvent::LinkUp, "link up", "ports have a link");
    sayPorts(LogEvent::LinkDown, "link down", "ports have no link");
    sayPorts(LogEvent::ProtocolOn, "takes part", "ports take part");
    sayPorts(LogEvent::ProtocolOff, "takes no part any more", "ports take no part any more");
    sayNeighbours(now);
    for (auto& [unit, port] : ports_)
        sayVlans(unit, port, now);
    forgetGone();
    return unsaid_;
}

void EventLog::notePort(u32 unit, Port& port, Clock::time_point now) {
    if (port.said.unit == 0)
        noted_[LogEvent::PortAdded].push_back(unit);
    port.said.unit = unit;
    if (!port.there) {
        down_.push_back(unit);
        return;
    }
    const bool link = port.said.linkUp != port.now.linkUp;
    const bool part = port.said.takesPart != port.now.takesPart;
    if (!link && !part)
        return;
    if (!port.states.mayLog(now)) {
        unsaid_ = true;
        return;
    }
    if (link)
        noted_[port.now.linkUp ? LogEvent::LinkUp : LogEvent::LinkDown].push_back(unit);
    if (part)
        noted_[port.now.takesPart ? LogEvent::ProtocolOn : LogEvent::ProtocolOff].push_back(unit);
    if (link && !port.now.linkUp)
        down_.push_back(unit);
    port.said.linkUp = port.now.linkUp;
    port.said.takesPart = port.now.takesPart;
}

void EventLog::sayPorts(LogEvent event, const char* one, const char* many) {
    const std::vector<u32>& units = noted_[event];
    if (units.size() <= kMostPortLines) {
        for (const u32 unit : units)
            sayOfPort(event, unit, ports_[unit].name, one);
        return;
    }
    std::string text = std::to_string(units.size()) + " " + many + ": ";
    for (std::size_t i = 0; i < kMostPortLines; i++)
        text += (i == 0 ? "" : ", ") + ports_[units[i]].name;
    text += " and " + std::to_string(units.size() - kMostPortLines) + " more";
    writeLog({.event = event, .text = text});
}

void EventLog::sayNeighbours(Clock::time_point now) {
    neighbours_.clear();
    frames_.neighbourChanges(msOf(now), down_, neighbours_);
    for (const NeighbourChange& change : neighbours_) {
        const auto port = ports_.find(change.unit);
        if (port == ports_.end())
            continue;
        std::string text = "neighbour " + formatMac(change.mac);
        const bool down = std::ranges::find(down_, change.unit) != down_.end();
        const std::string why = !port->second.there ? "the port is gone"
                                : down              ? "the link is down"
                                                    : silenceText(change.silentMs);
        text += change.found ? " found" : " lost: ";
        if (!change.found)
            text += why;
        sayOfPort(change.found ? LogEvent::NeighbourFound : LogEvent::NeighbourLost, change.unit,
                  port->second.name, text);
    }
}

void EventLog::sayVlans(u32 unit, Port& port, Clock::time_point now) {
    if (!port.there) {
        const bool none = vlanIsEmpty(port.said.members);
        sayOfPort(LogEvent::PortRemoved, unit, port.name,
                  none ? "the port is gone"
                       : "the port is gone, and with it " + vlanWords(port.said.members),
                  none ? nullptr : &port.said.members);
        return;
    }
    if (port.said.members == port.now.members)
        return;
    if (!port.vlans.mayLog(now)) {
        unsaid_ = true;
        return;
    }
    const VlanBitmap left = vlanDifference(port.said.members, port.now.members);
    const VlanBitmap learnt = vlanDifference(port.now.members, port.said.members);
    if (!vlanIsEmpty(left))
        sayOfPort(LogEvent::VlansLeft, unit, port.name, vlanWords(left) + " left", &left);
    if (!vlanIsEmpty(learnt))
        sayOfPort(LogEvent::VlansLearnt, unit, port.name, vlanWords(learnt) + " learnt", &learnt);
    port.said.members = port.now.members;
}

void EventLog::forgetGone() {
    std::erase_if(ports_, [](const auto& port) { return !port.second.there; });
}

}  // namespace platform
