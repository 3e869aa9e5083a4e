// SPDX-License-Identifier: MIT
#include "platform/model/corrections.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

TEST(CorrectionText, NamesAllNoneOrEach) {
    EXPECT_EQ(formatCorrections({}), "none");
    EXPECT_EQ(formatCorrections(CorrectionSet::all()), "all");
    CorrectionSet some;
    some.add(Correction::Admission);
    some.add(Correction::StaticKept);
    EXPECT_EQ(formatCorrections(some), "static-kept, admission");
}

}  // namespace
}  // namespace platform
