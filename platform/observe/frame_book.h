// SPDX-License-Identifier: MIT
//
// Looks on while frames pass: counts PDUs and events, remembers who declared which VLAN when, and
// keeps the latest frames while somebody captures.
//
// A port's record is allocated when the port begins to take part (prepare()); a frame costs one
// walk over its events, a frame that is sent once more a comparison.
//
// Locking: the records are guarded by the mutex of the frame layer, which is held already when a
// frame passes; the driver's lock may be taken inside it.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/net/frame_observer.h"
#include "platform/observe/frame_tap.h"
#include "platform/observe/port_record.h"
#include "platform/observe/vlan_times.h"
#include "platform/runtime/tasks/news.h"
#include "platform/runtime/tasks/timer.h"
#include "platform/switch/switch_driver.h"

namespace platform {

/// A neighbour that was found, or lost.
struct NeighbourChange {
    u32 unit;
    MacAddress mac;
    bool found;
    u64 silentMs;  ///< of one that is lost: since when nothing was heard
};

/// A neighbour is lost when nothing was heard of it for so long, and for three times its longest
/// pause: about three LeaveAlls at the times that a port starts with, since one that has nothing to
/// declare says nothing else, and one of two neighbours has the other's LeaveAll do for both.
inline constexpr u64 kNeighbourSilentMs = 540'000;
/// Silence is looked for so often.
inline constexpr u64 kLookForSilenceMs = 5000;

class FrameBook final : public FrameObserver {
  public:
    /// Both outlive it. @param mutex  FrameNet::mutex() of what is observed
    FrameBook(const SwitchDriver& driver, std::mutex& mutex);

    void frameArrived(u32 unit, std::span<const u8> bytes) override;
    void frameHandled(u32 unit, const FrameView& view, DropReason reason,
                      std::optional<Delivery> outcome) override;
    void frameSent(u32 unit, std::span<const u8> bytes, int error, u64 nowMs) override;

    /// Told when there is something for neighbourChanges(). Null: nobody. Set before frames pass;
    /// outlives it.
    void setNews(News* news) { news_ = news; }

    /// The port takes part from now on: makes room for what is remembered of it.
    void prepare(u32 unit);
    /// The switch did not take memberships of VLANs. Any thread.
    void membersRefused(u32 unit, const VlanBitmap& vlans);
    /// The daemon was not let register a VLAN. Makes no system call. Any thread.
    void registrationRefused(u32 unit, u32 vid, Admission why);
    void lookAround() override { sayRefusals(monotonicMs()); }
    /// Says in the log what was refused, once a minute a port.
    void sayRefusals(u64 nowMs);
    /// The port's registration mode is this from now on: it decides which joins fail.
    void setRegistration(u32 unit, u32 mode);

    /// Appends which neighbours were found and lost since this was called last, and forgets all
    /// those of `down`, ports without a link. Silence is looked for every kLookForSilenceMs. Any
    /// thread, one at a time.
    void neighbourChanges(u64 nowMs, std::span<const u32> down,
                          std::vector<NeighbourChange>& changes);

    // Of the command channel.
    PortStatisticsRecord statistics(u32 unit) const;
    /// Begins to count from zero. @param unit  0: every port
    void clear(u32 unit);
    PortHistoryRecord history(u32 unit) const;
    /// @param vid  1 to 4095
    VlanHistoryRecord vlanHistory(u32 unit, u32 vid) const;
    VlanTimes vlanTimes(u32 unit) const;
    /// Those that were heard since the link came up, as many as are told apart.
    std::vector<NeighbourRecord> neighbours(u32 unit) const;
    /// The port was deleted.
    void forget(u32 unit);

    FrameTap& tap() { return tap_; }

  private:
    // All of these: mutex_ is held.
    PortRecord& record(u32 unit);
    /// What the log says of the last refusal.
    std::string refusalText(u32 unit, const PortRecord& port) const;
    /// There is something for neighbourChanges().
    void neighbourIsFound();
    /// Reads the port's permit list again when it may have changed.
    void renewPermitted(u32 unit, PortRecord& port) const;
    /// @return the record, with all counted; null when there is none
    const PortRecord* find(u32 unit) const;
    /// Another frame than before is sent now: counts that, and keeps this unless it is too long.
    void keepSent(PortRecord& port, std::span<const u8> bytes);
    /// Counts a frame as often as it was sent, if it is a PDU.
    void countSent(PortRecord& port, std::span<const u8> frame) const;

    const SwitchDriver& driver_;
    const u64 startMs_;
    FrameTap tap_;
    std::atomic<bool> refused_{false};         ///< there may be something for sayRefusals()
    std::atomic<bool> neighbourFound_{false};  ///< there is one for neighbourChanges()
    News* news_ = nullptr;
    u64 nextSilenceMs_ = 0;  ///< when it looks for silent ones again
    std::mutex& mutex_;
    std::map<u32, std::unique_ptr<PortRecord>> ports_;  ///< guarded by mutex_
};

}  // namespace platform
