// SPDX-License-Identifier: MIT
//
// What is said in the log, as the journal would get it, instead of on the console.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/model/vlan_ranges.h"
#include "platform/runtime/log_line.h"

namespace platform::testing {

/// While it exists, lines of a kind come here.
class TakenLines {
  public:
    TakenLines() {
        auto sink = std::make_unique<Sink>();
        sink_ = sink.get();
        before_ = setLineSink(std::move(sink));
    }
    TakenLines(const TakenLines&) = delete;
    TakenLines& operator=(const TakenLines&) = delete;
    TakenLines(TakenLines&&) = delete;
    TakenLines& operator=(TakenLines&&) = delete;
    ~TakenLines() { setLineSink(std::move(before_)); }

    struct Line {
        LogEvent event;
        std::string port;
        std::string vlans;  ///< as ranges; empty: it is about none
        std::string text;
    };

    const Line& last() const { return sink_->lines.back(); }
    /// The texts since this was asked last.
    std::vector<std::string> take() {
        std::vector<std::string> texts;
        for (; sink_->taken < sink_->lines.size(); sink_->taken++)
            texts.push_back(sink_->lines[sink_->taken].text);
        return texts;
    }
    /// From now on what comes is refused, and written to the console.
    void refuse() { sink_->takes = false; }

  private:
    struct Sink final : LineSink {
        bool put(const LogLine& line) override {
            lines.push_back({line.event, std::string(line.port),
                             line.vlans == nullptr ? "" : formatVlanRanges(*line.vlans),
                             std::string(line.text)});
            return takes;
        }
        std::vector<Line> lines;
        std::size_t taken = 0;
        bool takes = true;
    };

    Sink* sink_;
    std::unique_ptr<LineSink> before_;
};

}  // namespace platform::testing
