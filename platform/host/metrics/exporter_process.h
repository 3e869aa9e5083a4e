// SPDX-License-Identifier: MIT
//
// The process that serves metrics by HTTP. It is no thread of the daemon, so that whatever comes
// over the network meets a program without privileges and without the daemon's state.
#pragma once

#include <string>

namespace platform {

/// Starts mvrp-exporter, and starts it again when it ends: a thread waits for it. It ends with this
/// process, however that ends. What keeps it from working is logged. Once.
/// @param listen         see TcpAddress
/// @param commandSocket  that it asks
void startExporter(const std::string& listen, const std::string& commandSocket);

}  // namespace platform
