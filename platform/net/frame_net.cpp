// SPDX-License-Identifier: MIT
//
// Set-up and cables; sending is in frame_net_send.cpp, the receive thread in frame_net_receive.cpp.
#include "platform/net/frame_net.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <utility>

#include "platform/net/clock.h"
#include "platform/runtime/log.h"

namespace platform {
namespace {

const PortConfig* findPort(const SwitchConfig& config, u32 unit) {
    for (const PortConfig& port : config.ports)
        if (port.unit == unit)
            return &port;
    return nullptr;
}

}  // namespace

FrameNet::FrameNet(const SwitchDriver& driver, SocketLayer& sockets)
    : driver_(driver),
      facts_(driver.facts()),
      sockets_(sockets),
      gathered_(std::make_unique<SendBatch>()),
      batch_(std::make_unique<FrameBatch>()),
      native_(std::make_unique<NativeFrames>()),
      epoll_(epoll_create1(EPOLL_CLOEXEC)),
      wakeUp_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = 0;  // no port has unit 0
    epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, wakeUp_.get(), &event);
}

FrameNet::~FrameNet() {
    stop();
}

bool FrameNet::start(const SwitchConfig& config, std::string& error) {
    if (!epoll_.isOpen() || !wakeUp_.isOpen()) {
        error = "event descriptors: " + errorText(errno);
        return false;
    }
    if (!reconfigure(config, error)) {
        stop();
        return false;
    }
    running_ = true;
    thread_ = std::thread([this] { receiveLoop(); });
    return true;
}

bool FrameNet::reconfigure(const SwitchConfig& config, std::string& error) {
    const std::lock_guard serial(configMutex_);
    error.clear();
    for (const u32 unit : units())
        if (findPort(config, unit) == nullptr)
            forget(unit);
    asksWhenForwarding_ = config.askWhenForwarding;
    guardLoops(config.loopGuard);
    SwitchConfig applied = config;
    std::erase_if(applied.ports, [&](const PortConfig& port) {
        std::string reason;
        if (applyPort(port, findPort(config_, port.unit), reason))
            return false;
        error += (error.empty() ? "port " : "; port ") + std::to_string(port.unit) + ": " + reason;
        return true;
    });
    // What failed counts as not configured, so that the next time tries all of it again.
    config_ = std::move(applied);
    return error.empty();
}

bool FrameNet::applyPort(const PortConfig& port, const PortConfig* before, std::string& error) {
    const PortConfig fresh;
    const PortConfig& old = before == nullptr ? fresh : *before;
    // What an operator set since stays, unless the configuration says otherwise than before.
    if (before == nullptr || port.wireForm != old.wireForm)
        setWireForm(port.unit, port.wireForm);
    {
        const std::lock_guard lock(mutex_);
        cabledPort(port.unit).budget.perSecond = port.maxPdus;
    }
    if (port.recordFile != old.recordFile && !recordAsConfigured(port, error))
        return false;
    if (port.cable != old.cable && !replug(port.unit, old.cable, port.cable, error))
        return false;
    if (port.replayFile.empty() || port.replayFile == old.replayFile)
        return true;
    const Descriptor file = openReplay(port.replayFile, error);
    return file.isOpen() &&
           feed(port.unit, file, port.replayFile, 1, std::nullopt, error) == HostStatus::Ok;
}

bool FrameNet::recordAsConfigured(const PortConfig& port, std::string& error) {
    std::unique_ptr<Recording> recording;
    if (!port.recordFile.empty()) {
        recording = Recording::open(port.recordFile, error);
        if (recording == nullptr)
            return false;
    }
    putRecording(port.unit, std::move(recording));
    return true;
}

void FrameNet::putRecording(u32 unit, std::unique_ptr<Recording> recording) {
    {
        const std::lock_guard lock(mutex_);
        std::swap(cabledPort(unit).recorder, recording);
    }
    if (recording != nullptr)
        recording->finish();
}

void FrameNet::stop() {
    finish();  // the process may end with the daemon's lock held
    running_ = false;
    wake();
    if (thread_.joinable())
        thread_.join();
    const std::lock_guard serial(configMutex_);
    std::map<u32, CabledPort> gone;
    {
        const std::lock_guard lock(mutex_);
        gone.swap(ports_);
        nearPorts_ = {};
    }
    config_ = {};
    for (auto& [unit, cabled] : gone)
        if (cabled.recorder != nullptr)
            cabled.recorder->finish();
}

void FrameNet::wake() {
    const u64 one = 1;
    [[maybe_unused]] const ssize_t written = write(wakeUp_.get(), &one, sizeof one);
}

bool FrameNet::replug(u32 unit, const CableConfig& before, const CableConfig& now,
                      std::string& error) {
    CableConfig renamed = before;
    renamed.interfaceName = now.interfaceName;
    if (now.interfaceIndex == 0 || renamed != now)
        return plug(unit, now, {nullptr, Patience::Await}, error);
    // Its interface has another name: who was heard on it is still there.
    const std::lock_guard lock(mutex_);
    cabledPort(unit).cableConfig = now;
    return true;
}

std::shared_ptr<Cable> FrameNet::open(const CableConfig& config, const CableRules& rules,
                                      CableFailure& failure) {
    std::shared_ptr<Cable> cable = openCable(config, rules, failure);
    if (cable == nullptr || cable->interfaceIndex() == 0)
        return cable;
    const std::lock_guard lock(gatherMutex_);
    gathered_->open();
    return cable;
}

bool FrameNet::plug(u32 unit, const CableConfig& config, const PlugRules& rules,
                    std::string& error) {
    std::shared_ptr<Cable> before;
    {
        const std::lock_guard lock(mutex_);
        before = cabledPort(unit).cable;
    }
    CableFailure failure;
    std::shared_ptr<Cable> cable = open(config, {rules.places, before.get()}, failure);
    const bool failed = cable == nullptr && config.kind != CableKind::None;
    if (failed && (rules.patience == Patience::Refuse || !failure.mayPass())) {
        error = failure.text;
        return false;
    }
    {
        const std::lock_guard lock(mutex_);
        CabledPort& cabled = cabledPort(unit);
        if (!install(unit, cabled, cable, error)) {
            cabled.cableConfig = {};
            return false;
        }
        cabled.cableConfig = config;
        if (failed)
            await(cabled, failure.number);
    }
    if (failed)
        sayAwaited(unit, failure);
    return true;
}

bool FrameNet::install(u32 unit, CabledPort& cabled, std::shared_ptr<Cable>& cable,
                       std::string& error) {
    std::swap(cabled.cable, cable);
    cabled.awaited = false;
    cabled.cableError = 0;
    cabled.saidParts = false;
    endLoop(cabled);
    // Whoever is at the other end now has not been heard yet.
    cabled.heard = 0;
    cabled.heardIeee = false;
    if (cable != nullptr)
        epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, cable->descriptor(), nullptr);
    if (cabled.cable == nullptr)
        return true;
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = unit;
    cabled.cable->watchRoom(epoll_.get(), unit | kRoomEvent);
    if (epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, cabled.cable->descriptor(), &event) == 0)
        return true;
    error = "event descriptors: " + errorText(errno);
    cabled.cable.reset();
    return false;
}

CableState FrameNet::cableState(u32 unit) const {
    const std::lock_guard lock(mutex_);
    const auto found = ports_.find(unit);
    CableState state;
    state.cable = formatCable({});
    if (found != ports_.end()) {
        const CabledPort& cabled = found->second;
        state = {cabled.form,       cabled.heard,
                 cabled.peer,       formatCable(cabled.cableConfig),
                 cabled.cableError, cabled.loop ? cabled.loop->with : 0};
    }
    return state;
}

PortCountersRecord FrameNet::counters(u32 unit) const {
    const std::lock_guard lock(mutex_);
    const auto found = ports_.find(unit);
    return found == ports_.end() ? PortCountersRecord{} : found->second.counters;
}

HostStatus FrameNet::setCable(u32 unit, const std::string& text, std::string& error) {
    const std::optional<CableConfig> config = parseCable(text);
    if (!config) {
        error = "the cable is \"" + text + "\"; allowed is " + kCableAllowed;
        return HostStatus::BadArgument;
    }
    return plug(unit, *config, {&places_, Patience::Refuse}, error) ? HostStatus::Ok
                                                                    : HostStatus::BadArgument;
}

HostStatus FrameNet::setWireForm(u32 unit, WireForm form) {
    const std::lock_guard lock(mutex_);
    cabledPort(unit).form = form;
    return HostStatus::Ok;
}

HostStatus FrameNet::setRecording(u32 unit, NamedFile file, std::string& error) {
    std::unique_ptr<Recording> recording;
    if (!file.path.empty()) {
        recording = Recording::open(std::move(file), places_, error);
        if (recording == nullptr)
            return HostStatus::BadArgument;
    }
    putRecording(unit, std::move(recording));
    return HostStatus::Ok;
}

HostStatus FrameNet::replay(u32 unit, NamedFile file, u32 speed, std::string& error) {
    const std::string name = file.path;
    const Descriptor opened = openReplay(std::move(file), places_, error);
    return opened.isOpen() ? feed(unit, opened, name, speed, monotonicUs(), error)
                           : HostStatus::BadArgument;
}

HostStatus FrameNet::feed(u32 unit, const Descriptor& file, const std::string& name, u32 speed,
                          std::optional<u64> startUs, std::string& error) {
    std::optional<PcapFrames> frames = readPcap(file.get(), name, error);
    if (!frames)
        return HostStatus::BadArgument;
    {
        const std::lock_guard lock(mutex_);
        cabledPort(unit).replay = std::make_shared<Replay>(std::move(*frames), speed, startUs);
        replaying_ = true;
    }
    wake();
    return HostStatus::Ok;
}

std::vector<u32> FrameNet::units() const {
    const std::lock_guard lock(mutex_);
    std::vector<u32> units;
    for (const auto& [unit, cabled] : ports_)
        units.push_back(unit);
    return units;
}

void FrameNet::forget(u32 unit) {
    putRecording(unit, nullptr);
    const std::lock_guard lock(mutex_);
    const auto found = ports_.find(unit);
    if (found == ports_.end())
        return;
    if (found->second.cable != nullptr)
        epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, found->second.cable->descriptor(), nullptr);
    forgetOwnAddress(unit, found->second);
    if (const auto& loop = found->second.loop; loop && loop->held) {
        letGo_.push_back({unit, loop->with, false});
        looping_ = true;
        wake();
    }
    ports_.erase(found);
    if (unit < nearPorts_.size())
        nearPorts_[unit] = nullptr;
}

CabledPort& FrameNet::cabledPort(u32 unit) {
    if (unit >= nearPorts_.size())
        return ports_[unit];
    CabledPort*& near = nearPorts_[unit];
    if (near == nullptr)
        near = &ports_[unit];
    return *near;
}

void FrameNet::record(const CabledPort& cabled, std::span<const u8> frame) {
    if (cabled.recorder != nullptr && !cabled.recorder->take(frame, wallClockUs()))
        lostRecorded_.fetch_add(1, std::memory_order_relaxed);
}

FrameLosses FrameNet::losses() const {
    return {lostRecorded_.load(std::memory_order_relaxed),
            lostForwarded_.load(std::memory_order_relaxed),
            repeated_.load(std::memory_order_relaxed)};
}

}  // namespace platform
