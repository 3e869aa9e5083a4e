// SPDX-License-Identifier: MIT
//
// The command server: one task that waits on a listening UNIX stream socket and its clients, and
// serves their requests one at a time, a bounded number of each in turn. What a client does, or
// leaves undone, costs the others nothing but their turn.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/command/access.h"
#include "platform/command/client_connection.h"

namespace platform {

/// Most clients at a time; another is turned away.
inline constexpr std::size_t kMaxClients = 64;

class CommandServer {
  public:
    CommandServer(RequestServer requests, CommandAccess access);
    ~CommandServer();
    CommandServer(const CommandServer&) = delete;
    CommandServer& operator=(const CommandServer&) = delete;

    /// Begins to listen. @param error  receives what was wrong
    bool open(const std::string& path, std::string& error);
    /// Serves until stop() is called. This is the body of the command task.
    void run();
    /// Has run() return. Any thread.
    void stop();
    /// Has the command task run `work` between two requests. Any thread.
    void post(std::function<void()> work);

  private:
    void watch(int descriptor, u32 events, bool known);
    void acceptClients();
    void acceptOne(Descriptor connection);
    void handle(int descriptor, u32 events);
    void settle(ClientConnection& client);
    bool serveWaiting();
    void runPosted();

    RequestServer requests_;
    CommandAccess access_;
    Descriptor poll_;
    Descriptor wake_;
    Descriptor listener_;
    std::map<int, std::unique_ptr<ClientConnection>> clients_;
    bool acceptPaused_ = false;  ///< out of descriptors: try again later

    std::mutex guard_;  ///< of the two below
    std::vector<std::function<void()>> posted_;
    bool stopping_ = false;
};

}  // namespace platform
