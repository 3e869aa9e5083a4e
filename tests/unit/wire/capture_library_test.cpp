// SPDX-License-Identifier: MIT
#include "platform/wire/capture_library.h"

#include <gtest/gtest.h>

#include <array>

namespace {

using platform::CaptureLibrary;
using platform::openCaptureLibrary;

TEST(CaptureLibrary, TheOneOfThisMachineIsOpenedOnce) {
    std::string error;
    const CaptureLibrary* library = platform::captureLibrary(error);
    ASSERT_NE(library, nullptr) << error;
    EXPECT_EQ(platform::captureLibrary(error), library);
    EXPECT_EQ(error, "");
}

TEST(CaptureLibrary, ANameThatIsNotThereIsPassedOver) {
    constexpr std::array<const char*, 3> kNames = {"libnothing.so.7", "libpcap.so.0.8",
                                                   "libpcap.so.1"};
    CaptureLibrary library{};
    std::string error;
    EXPECT_TRUE(openCaptureLibrary(kNames, library, error)) << error;
    EXPECT_NE(library.nextRecord, nullptr);
}

TEST(CaptureLibrary, OneThatIsMissingOrAnotherSaysSo) {
    CaptureLibrary library{};
    for (const char* name : {"libnothing.so.7", "libm.so.6"}) {
        std::string error;
        EXPECT_FALSE(openCaptureLibrary(std::array{name}, library, error));
        EXPECT_TRUE(error.starts_with("captures are read by libpcap, which can not be opened: "))
            << error;
    }
}

}  // namespace
