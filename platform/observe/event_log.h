// SPDX-License-Identifier: MIT
//
// Says in the log what happens on the ports: ports that come and go, links, neighbours, learnt
// VLANs. Nothing is said where it happens: whoever changes something tells the news, and a thread
// looks at what the feed and the book have noted, at most ten times a second, so what happened in
// between is gathered. It words the difference to what it said last. A port that changes again and
// again is spoken of seldom, and then as it is.
//
// Locking: none of its own; it takes those of the feed and of the book, one at a time, to copy.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/observe/change_feed.h"
#include "platform/observe/frame_book.h"
#include "platform/runtime/log_event.h"
#include "platform/runtime/log_limit.h"
#include "platform/runtime/tasks/news.h"

namespace platform {

/// A list of VLANs in a line of the log is cut after so many characters.
inline constexpr std::size_t kMostVlanText = 160;
/// More ports than this to which the same happens at a time share a line.
inline constexpr std::size_t kMostPortLines = 8;

/// "VLAN 10", "VLANs 10-12,20", or for a long list "VLANs 2,4,6,... (2047 of them)".
std::string vlanWords(const VlanBitmap& vlans);

class EventLog {
  public:
    using Clock = LogLimit::Clock;

    /// All outlive it.
    EventLog(const SwitchDriver& driver, ChangeFeed& feed, FrameBook& frames);

    /// Takes the ports as they are for known. Before start().
    void begin();
    /// Starts the thread. Without one nothing is said but that.
    void start();
    /// Is told of whatever may be worth a line, but for silence. As old as the log.
    News& news() { return news_; }
    /// Says what is new. The thread's, or a test's.
    /// @return whether something is left to say that was said too often lately
    bool look(Clock::time_point now);

  private:
    struct Port {
        std::string name;
        bool there = false;  ///< the feed has it; false for one that is about to be forgotten
        PortNow now{};
        PortNow said{};
        LogLimit states;  ///< of lines about links and taking part
        LogLimit vlans;   ///< of lines about VLANs
    };

    void readPorts();
    void notePort(u32 unit, Port& port, Clock::time_point now);
    /// One line each, or one for all.
    void sayPorts(LogEvent event, const char* one, const char* many);
    void sayNeighbours(Clock::time_point now);
    void sayVlans(u32 unit, Port& port, Clock::time_point now);
    void forgetGone();

    const SwitchDriver& driver_;
    ChangeFeed& feed_;
    FrameBook& frames_;
    News news_;
    u64 asOf_ = 0;
    std::map<u32, Port> ports_;  ///< by unit
    // Of one look; kept for their memory.
    std::vector<PortNow> read_;
    std::map<LogEvent, std::vector<u32>> noted_;
    bool unsaid_ = false;  ///< a port has changed and is spoken of too often to say it now
    std::vector<u32> down_;
    std::vector<NeighbourChange> neighbours_;
};

}  // namespace platform
