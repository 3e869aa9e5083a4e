// SPDX-License-Identifier: MIT
//
// The HTTP endpoint: answers GET and HEAD of /metrics, one client after the other, in a thread of
// the HTTP library. Clients are bounded in number, in what they may send, and in time.
//
// Errors: std::runtime_error with a text for the person who reads the log.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>

#include "exporter/daemon_source.h"
#include "platform/model/tcp_address.h"
#include "platform/runtime/files/descriptor.h"

struct MHD_Daemon;
struct MHD_Connection;

namespace exporter {

/// A listening socket. One that another process is just giving up is waited for, kAddressTime.
platform::Descriptor listenAt(const platform::TcpAddress& address);
inline constexpr std::chrono::seconds kAddressTime{3};

class Endpoint {
  public:
    /// @param source  asked in the library's thread
    Endpoint(platform::Descriptor listener, std::function<Answer(cli::MetricsFormat)> source);
    /// Cuts off who is still there.
    ~Endpoint();
    Endpoint(const Endpoint&) = delete;
    Endpoint& operator=(const Endpoint&) = delete;
    Endpoint(Endpoint&&) = delete;
    Endpoint& operator=(Endpoint&&) = delete;

    /// Cuts off clients that have been there for longer than kMostTime: the library's own limit
    /// begins anew with each byte. To be called about once a second.
    void endSlowClients();

    static constexpr unsigned kMostClients = 16;
    static constexpr unsigned kQuietSeconds = 5;  ///< without a byte
    static constexpr std::chrono::seconds kMostTime{15};
    static constexpr std::size_t kMostRequestBytes = std::size_t{16} * 1024;

  private:
    struct Library;  ///< the functions that the library calls
    using Time = std::chrono::steady_clock::time_point;

    std::function<Answer(cli::MetricsFormat)> source_;
    std::mutex guard_;
    std::map<int, Time> clients_;  ///< since when, by socket; guarded
    std::unique_ptr<MHD_Daemon, void (*)(MHD_Daemon*)> daemon_;
};

}  // namespace exporter
