// SPDX-License-Identifier: MIT
#include "platform/wire/capture_library.h"

#include <dlfcn.h>

#include <array>

namespace platform {
namespace {

/// Of the same interface: the name in Debian, and that of other distributions.
constexpr std::array<const char*, 2> kLibraryNames = {"libpcap.so.0.8", "libpcap.so.1"};

template <typename Function>
bool findFunction(void* opened, const char* name, Function& function) {
    function = reinterpret_cast<Function>(::dlsym(opened, name));
    return function != nullptr;
}

bool findFunctions(void* opened, CaptureLibrary& library) {
    return findFunction(opened, "pcap_fopen_offline", library.openFile) &&
           findFunction(opened, "pcap_datalink", library.linkType) &&
           findFunction(opened, "pcap_next_ex", library.nextRecord) &&
           findFunction(opened, "pcap_close", library.close);
}

struct OpenedLibrary {
    CaptureLibrary functions{};
    std::string error;
    const bool found = openCaptureLibrary(kLibraryNames, functions, error);
};

}  // namespace

bool openCaptureLibrary(std::span<const char* const> names, CaptureLibrary& library,
                        std::string& error) {
    void* opened = nullptr;
    for (const char* name : names)
        if (opened == nullptr)
            opened = ::dlopen(name, RTLD_NOW | RTLD_LOCAL);
    if (opened != nullptr && findFunctions(opened, library))
        return true;
    const char* reason = ::dlerror();
    error = "captures are read by libpcap, which can not be opened";
    if (reason != nullptr)
        error += std::string(": ") + reason;
    return false;
}

const CaptureLibrary* captureLibrary(std::string& error) {
    static const OpenedLibrary kOpened;
    if (kOpened.found)
        return &kOpened.functions;
    error = kOpened.error;
    return nullptr;
}

}  // namespace platform
