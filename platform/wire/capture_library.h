// SPDX-License-Identifier: MIT
//
// libpcap, opened when the first capture is read and kept from then on. It brings ten more
// libraries along, of which a daemon that reads no capture would hold 1 MB in memory for nothing.
//
// Any thread may ask; the library is opened once. Errors are texts for the operator.
#pragma once

#include <pcap/pcap.h>

#include <span>
#include <string>

namespace platform {

/// What is used of the library, as <pcap/pcap.h> describes it.
struct CaptureLibrary {
    decltype(&pcap_fopen_offline) openFile;
    decltype(&pcap_datalink) linkType;
    decltype(&pcap_next_ex) nextRecord;
    decltype(&pcap_close) close;
};

/// Opens the first library of `names` that is there, for good.
/// @return whether it has what is used; otherwise the reason is in `error`
bool openCaptureLibrary(std::span<const char* const> names, CaptureLibrary& library,
                        std::string& error);

/// The library of this machine. @return null when it can not be opened, with the reason in `error`
const CaptureLibrary* captureLibrary(std::string& error);

}  // namespace platform
