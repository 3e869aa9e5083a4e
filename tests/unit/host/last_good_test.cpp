// SPDX-License-Identifier: MIT
#include "platform/host/restart/last_good.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "platform/config/fragments/config_documents.h"
#include "platform/host/service.h"
#include "platform/runtime/files/paths.h"
#include "tests/scratch_directory.h"

namespace platform::testing {
namespace {

class LastGood : public ::testing::Test {
  protected:
    void SetUp() override {
        setenv(kRuntimeDirVariable, scratch_.path("").c_str(), 1);
        setenv(kNotifySocketVariable, "@nobody", 1);
    }
    void TearDown() override {
        unsetenv(kRuntimeDirVariable);
        unsetenv(kNotifySocketVariable);
    }
    void write(const std::string& text) { std::ofstream(file_) << text; }
    static std::string read(const std::string& path) {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    ScratchDirectory scratch_;
    const std::string file_ = scratch_.path("mvrp.toml");
};

TEST_F(LastGood, TheFirstStartWithARefusedFileFailsAndTheNextGoesOnAsBefore) {
    write("good");
    keepLastGood(file_);
    write("bad");
    EXPECT_EQ(lastGoodInstead(file_), "");
    EXPECT_EQ(read(lastGoodInstead(file_)), "good");
}

TEST_F(LastGood, FragmentsAreKeptWithTheirFileAndRemovedWithThem) {
    std::filesystem::create_directory(scratch_.path("conf.d"));
    const std::string fragment = scratch_.path("conf.d/10-ports.toml");
    write("good");
    std::ofstream(fragment) << "a port";
    keepLastGood(file_);
    std::ofstream(fragment) << "broken";
    EXPECT_EQ(lastGoodInstead(file_), "");
    const std::string kept = lastGoodInstead(file_);
    EXPECT_EQ(read(kept), "good");
    EXPECT_EQ(read(scratch_.path("last-good/conf.d/10-ports.toml")), "a port");
    std::filesystem::remove(fragment);
    keepLastGood(file_);
    EXPECT_EQ(readConfigDocuments(kept).files.size(), 1U);
}

TEST_F(LastGood, EachRestartByHandFailsOnce) {
    write("good");
    keepLastGood(file_);
    write("bad");
    for (int restart = 0; restart < 3; ++restart) {
        EXPECT_EQ(lastGoodInstead(file_), "");
        EXPECT_NE(lastGoodInstead(file_), "");
    }
}

TEST_F(LastGood, AFileThatIsRefusedForSomethingElseFailsAgain) {
    write("good");
    keepLastGood(file_);
    write("bad");
    EXPECT_EQ(lastGoodInstead(file_), "");
    write("worse");
    EXPECT_EQ(lastGoodInstead(file_), "");
}

TEST_F(LastGood, WithoutOneTheStartFailsAgainAndAgain) {
    write("bad");
    EXPECT_EQ(lastGoodInstead(file_), "");
    EXPECT_EQ(lastGoodInstead(file_), "");
}

TEST_F(LastGood, ByHandAStartFailsAgainAndAgain) {
    write("good");
    keepLastGood(file_);
    write("bad");
    unsetenv(kNotifySocketVariable);
    EXPECT_EQ(lastGoodInstead(file_), "");
    EXPECT_EQ(lastGoodInstead(file_), "");
}

}  // namespace
}  // namespace platform::testing
