// SPDX-License-Identifier: MIT
//
// The ports' side of the frames: cables, the receive thread between them and the sockets, and the
// road of a sent frame to its cable.
//
//     cable -> adapter -> does the port take part? -> socket layer -> daemon
//                                   no: out of all other ports that have a cable and a link
//     daemon -> socket layer -> wire form of the port -> cable
//
// Locking: one mutex around the table of cabled ports, held once for each received frame, from its
// arrival until it is in a ring and counted, and for look-ups and counting; never while a frame is
// sent. Another one around frames that are gathered, taken before it. The receive thread works
// without the daemon's lock; transmit() is called by it, by the protocol task and the command
// thread (under the daemon's lock), the PortCables calls by the command thread. The driver's and
// the sockets' locks may be taken inside; they take none of ours.
#pragma once

#include <array>
#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

#include "platform/config/host_config.h"
#include "platform/net/cabled_port.h"
#include "platform/net/cables/open_cable.h"
#include "platform/net/cables/send_batch.h"
#include "platform/net/frame_observer.h"
#include "platform/net/port_cables.h"
#include "platform/net/sockets/socket_layer.h"
#include "platform/runtime/tasks/sem.h"
#include "platform/switch/switch_driver.h"
#include "platform/wire/adapter.h"

namespace platform {

/// Frames that were to go somewhere, and did not, since the start.
struct FrameLosses {
    u64 recorded = 0;   ///< into a recording whose file is too slow, or can not be written
    u64 forwarded = 0;  ///< out of a port whose cable had no room, or failed
    /// Of the daemon, which were the same as the last of their port, that was still to be sent.
    u64 repeated = 0;
};

class FrameNet final : public FrameTransmitter, public PortCables, public PutOffWork {
  public:
    /// Both outlive it.
    FrameNet(const SwitchDriver& driver, SocketLayer& sockets);
    ~FrameNet() override;
    FrameNet(const FrameNet&) = delete;
    FrameNet& operator=(const FrameNet&) = delete;
    FrameNet(FrameNet&&) = delete;
    FrameNet& operator=(FrameNet&&) = delete;

    /// The mutex of the frame layer, for an observer that keeps its records under it.
    std::mutex& mutex() { return mutex_; }
    /// Before start(); null: nobody looks on. It outlives the frame layer.
    void setObserver(FrameObserver* observer) { observer_ = observer; }

    /// Where requests may name files and sockets. Before start(); nowhere unless it is called.
    void setPlaces(RequestPlaces places) { places_ = std::move(places); }

    /// Has a port count as down, or not any more: StateSwitch::hold(). Called by the receive thread
    /// without a lock. Before start(); a guard against loops does nothing without it.
    void setHold(std::function<void(u32 unit, bool held)> hold) { hold_ = std::move(hold); }
    /// How long a port that heard frames of this switch takes no part after the last of them.
    void setLoopTime(u64 us) { loopTimeUs_ = us; }

    /// Plugs the configured cables in and starts the receive thread.
    /// @return false with the reason in `error`: nothing runs then
    bool start(const SwitchConfig& config, std::string& error);
    /// Takes another configuration over: cables, wire forms and captures that differ.
    /// @return false with all that failed in `error`; the rest is in force
    bool reconfigure(const SwitchConfig& config, std::string& error);
    /// Sends what is gathered, ends the receive thread and unplugs all cables.
    void stop();

    /// With the daemon's lock held frames are gathered: into an interface always, so that they go
    /// together, into other cables while received frames wait for the daemon. They go before the
    /// lock is given back, or while received frames wait, at most kGatherUs later: a frame that is
    /// the same as the last of its port that has not gone yet is not sent again, which a neighbour
    /// could not tell from the first. What fails then is counted, said and asked for again as ever;
    /// the daemon, which is told that it was sent, does nothing else about a failure.
    int transmit(u32 unit, std::span<const u8> frame) override;
    /// Sends what is gathered: see transmit(). Any thread.
    void finish() override;
    /// The same, unless it may wait for others.
    void lockGoes() override;
    /// The same for what another thread has gathered, which need not wait for this one.
    void lockComes() override;

    /// Has the neighbours of a port that takes part declare again: a LeaveAll goes out of it at
    /// once, in the form that the port speaks. The receive thread sends it; any thread may ask.
    /// @param renew  the daemon hears it as if a neighbour had sent it: it declares again, and what
    ///               nobody declares within the leave time ends
    /// @param afterMs  not at once but then
    void ask(u32 unit, bool renew, u32 afterMs = 0);
    /// The same for a port whose link came up, where the configuration asks for it
    /// (askWhenForwarding). The daemon renews at such a change by itself.
    void linkCameUp(u32 unit);
    /// The same, renewing, for a port that has just begun to take part.
    void beganToTakePart(u32 unit);

    CableState cableState(u32 unit) const override;
    PortCountersRecord counters(u32 unit) const override;
    /// Any thread.
    FrameLosses losses() const;
    HostStatus setCable(u32 unit, const std::string& text, std::string& error) override;
    void renew(u32 unit, u32 afterMs) override { ask(unit, true, afterMs); }
    HostStatus setWireForm(u32 unit, WireForm form) override;
    HostStatus setRecording(u32 unit, NamedFile file, std::string& error) override;
    HostStatus replay(u32 unit, NamedFile file, u32 speed, std::string& error) override;
    void forget(u32 unit) override;

    /// A frame as it comes out of a port's cable; called by the receive thread, and by tests
    /// instead of it.
    void frameArrived(u32 port, std::span<const u8> bytes, bool tagged);

  private:
    /// A gathered frame goes at most so late while received ones wait.
    static constexpr u64 kGatherUs = 1000;
    /// In the data of an event, beside the port: its cable has room for kept frames.
    static constexpr u64 kRoomEvent = u64{1} << 32;

    /// All units that anything is known about.
    std::vector<u32> units() const;
    /// Changes one port to what its configuration says. @return false with the reason in `error`
    bool applyPort(const PortConfig& port, const PortConfig* before, std::string& error);
    /// @param startUs  when the capture begins; nothing: when the port first takes part
    /// @param file  open; the caller found it by `name`
    HostStatus feed(u32 unit, const Descriptor& file, const std::string& name, u32 speed,
                    std::optional<u64> startUs, std::string& error);
    bool recordAsConfigured(const PortConfig& port, std::string& error);
    /// Puts a recording in place of the one that was there, which is finished. Null: none.
    void putRecording(u32 unit, std::unique_ptr<Recording> recording);
    /// What becomes of a cable that can not be opened for a reason that may pass.
    enum class Patience { Refuse, Await };
    struct PlugRules {
        const RequestPlaces* places;  ///< where its sockets may be; null: anywhere
        Patience patience;
    };
    bool plug(u32 unit, const CableConfig& config, const PlugRules& rules, std::string& error);
    /// openCable(), and what sends into interfaces, opened with the first.
    std::shared_ptr<Cable> open(const CableConfig& config, const CableRules& rules,
                                CableFailure& failure);
    /// Exchanges a port's cable for another, or for none: `cable` has the one that was there
    /// afterwards, which the caller lets go of without the lock, because that takes time.
    /// @param error  receives what failed; there is no cable then
    /// @pre mutex_ is held
    bool install(u32 unit, CabledPort& cabled, std::shared_ptr<Cable>& cable, std::string& error);
    /// The cable of a port is opened as soon as that is possible. @pre mutex_ is held
    void await(CabledPort& cabled, int error);
    void sayAwaited(u32 unit, const CableFailure& failure) const;
    // Sending: frame_net_send.cpp.
    /// Sends a frame at once. @return 0, or an errno value
    int sendAlone(u32 unit, u32 port, Cable& cable, std::span<const u8> frame);
    /// Keeps a frame for sendGathered(). @return false when it is to be sent alone
    /// @pre gatherMutex_ is held
    bool gather(u32 unit, u32 port, const std::shared_ptr<Cable>& cable, std::span<const u8> frame);
    /// @pre gatherMutex_ is held
    void sendGathered();
    /// Sends a frame that its cable refused for its length (EMSGSIZE) as shorter ones.
    /// @return as Cable::send(); EMSGSIZE when not even one VLAN fits
    int sendInParts(u32 unit, u32 port, Cable& cable, std::span<const u8> frame);
    /// Says, once for each cable, that frames are sent in parts.
    void sayParts(u32 port, std::size_t bytes);
    /// Counts a frame that left, or did not, and says once what will go on failing.
    void noteSending(u32 unit, u32 port, std::span<const u8> sent, int error);
    /// @return whether what failed is worth a line. @pre mutex_ is held
    bool countSending(u32 unit, u32 port, std::span<const u8> sent, int error, u64 nowMs);
    bool replug(u32 unit, const CableConfig& before, const CableConfig& now, std::string& error);

    void receiveLoop();
    int lookAround(bool frameCame);
    std::shared_ptr<Cable> cableOf(u32 port);
    void receiveFrom(u32 port);
    /// Feeds due frames of captures. @return ms until the next is due, -1 when none
    int runReplays();
    /// @return when the port's capture has its next frame due, ULLONG_MAX when it is over
    u64 runReplay(u32 unit, const std::shared_ptr<Replay>& replay, u64 nowUs);
    /// Opens cables that could not be opened before. @return ms until the next try, -1 when none
    int runAwaited();
    void openAwaited(u32 unit, const CableConfig& config);
    /// Lets go of a cable whose interface is gone, and waits for another.
    void checkCable(u32 unit);
    void checkCables();
    /// Sends what was asked for and is due. @return ms until the next is, -1 when none
    int runAsks();
    void sendAsk(u32 unit, bool renew);
    /// Has the neighbours asked, and the daemon renew, a second after what was lost last.
    /// @pre mutex_ is held
    void askWhenCalm(CabledPort& cabled);
    // Against loops: frame_net_loop.cpp.
    /// Keeps what a unit sends as, so that it is known when it comes back. @pre mutex_ is held
    void noteOwnAddress(u32 unit, CabledPort& own, std::span<const u8> frame);
    /// @pre mutex_ is held
    void forgetOwnAddress(u32 unit, const CabledPort& own);
    /// Whether a frame is one of this switch: then it is counted, and its port is to be held.
    /// @pre mutex_ is held
    bool isLooped(CabledPort& cabled, const FramePolicy& policy, std::span<const u8> bytes);
    /// Turns the guard on or off: off, no port is held any more.
    void guardLoops(bool on);
    /// Ends a loop as soon as the receive thread looks. @pre mutex_ is held
    void endLoop(CabledPort& cabled);
    /// Holds ports and lets them go. @return ms until the next is due, -1 when none
    int runLoops();
    void changeHold(u32 unit, u32 with, bool held);
    /// Whether a PDU is beyond the port's budget; when the PDUs calm, the neighbours are asked.
    /// @pre mutex_ is held
    bool isOverBudget(CabledPort& cabled);
    /// @pre mutex_ is held
    std::optional<Delivery> offerFrame(const FramePolicy& policy, const FrameView& view,
                                       DropReason& reason);
    /// What the driver says of a port, which is asked again when that may have changed.
    /// @pre mutex_ is held
    const PortAnswers& answersOf(u32 port, CabledPort& cabled) const;
    /// Everything that becomes of an arrived frame but forwarding. @return whether it is to be
    /// forwarded, to `targets_`. @pre mutex_ is held
    bool handleArrived(u32 port, std::span<const u8> bytes, bool tagged);
    /// @pre mutex_ is held
    void handOver(const FramePolicy& policy, std::span<const u8> bytes, bool tagged);
    /// The other ports that a frame of this one goes out of. @pre mutex_ is held
    void collectTargets(u32 port, const FramePolicy& policy);
    void record(const CabledPort& cabled, std::span<const u8> frame);
    /// What is kept for a unit, made when it is not there yet. @pre mutex_ is held
    CabledPort& cabledPort(u32 unit);
    void wake();

    const SwitchDriver& driver_;
    const SwitchFacts* const facts_;
    SocketLayer& sockets_;
    FrameObserver* observer_ = nullptr;
    RequestPlaces places_;

    mutable std::mutex mutex_;
    std::map<u32, CabledPort> ports_;  ///< guarded by mutex_
    /// Where what is kept for low units is, once it was asked for; guarded by mutex_.
    std::array<CabledPort*, 1024> nearPorts_{};
    struct HoldChange {
        u32 unit;
        u32 with;
        bool held;
    };
    std::vector<HoldChange> letGo_;              ///< of ports that are forgotten; guarded by mutex_
    std::unordered_map<u64, u32> ownAddresses_;  ///< unit by address; guarded by mutex_
    /// Whether a port may have a capture that is fed into it: set with mutex_ held, looked at
    /// without.
    std::atomic<bool> replaying_{false};

    std::mutex configMutex_;  ///< serialises start, reconfigure and stop
    SwitchConfig config_;     ///< guarded by configMutex_

    std::mutex gatherMutex_;               ///< taken before mutex_, never with it held
    std::unique_ptr<SendBatch> gathered_;  ///< guarded by gatherMutex_
    u64 gatheredUs_ = 0;                   ///< when the first of it came; guarded by gatherMutex_
    std::thread::id gatherer_;             ///< whose it is; guarded by gatherMutex_
    bool outlastsLock_ = false;            ///< it is of an earlier hold; guarded by gatherMutex_
    std::atomic<bool> anyGathered_{false};

    // The receive thread's own.
    std::unique_ptr<FrameBatch> batch_;
    std::unique_ptr<NativeFrames> native_;
    std::vector<std::shared_ptr<Cable>> targets_;
    std::vector<std::pair<u32, std::shared_ptr<Replay>>> replays_;
    std::vector<std::pair<u32, bool>> dueAsks_;    ///< unit, and whether to renew
    std::vector<std::pair<u32, u32>> overBudget_;  ///< unit, and its budget
    std::vector<std::pair<u32, CableConfig>> awaited_;
    std::vector<HoldChange> holdChanges_;  ///< empty but in runLoops()
    u64 nextTryUs_ = 0;                    ///< to open cables
    bool watching_ = false;  ///< a cable had an error: its interface is down, or is going
    u64 lastFrameUs_ = 0;
    u64 framesSinceUs_ = 0;  ///< the first frame that the observer has not looked around after

    Descriptor epoll_;
    Descriptor wakeUp_;
    std::atomic<bool> running_{false};
    std::atomic<bool> asksWhenForwarding_{false};
    std::atomic<bool> asking_{false};    ///< a port may have an ask
    std::atomic<bool> awaiting_{false};  ///< a port may wait for its cable
    std::atomic<bool> guardsLoops_{false};
    std::atomic<bool> looping_{false};  ///< a port may have a loop
    std::atomic<u64> lostRecorded_{0};
    std::atomic<u64> lostForwarded_{0};
    std::atomic<u64> repeated_{0};
    u64 loopTimeUs_ = 30'000'000;  ///< longer than the standard time of LeaveAlls
    std::function<void(u32 unit, bool held)> hold_;
    std::thread thread_;
};

}  // namespace platform
