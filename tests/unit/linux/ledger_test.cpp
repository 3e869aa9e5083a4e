// SPDX-License-Identifier: MIT
#include "platform/linux/ledger.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

#include "tests/unit/linux/linux_harness.h"

namespace platform::testing {
namespace {

class LedgerTest : public ::testing::Test {
  protected:
    const LedgerScope scope{"boot", 7, "br0", 3};

    /// What a new process finds.
    std::vector<LedgerRecord> found(const LedgerScope& of) {
        Ledger ledger;
        std::string error;
        EXPECT_TRUE(ledger.open(path, of, error)) << error;
        return ledger.found();
    }
    void fill() {
        Ledger ledger;
        std::string error;
        ASSERT_TRUE(ledger.open(path, scope, error)) << error;
        ledger.prepare(5, "eth0");
        ledger.prepare(6, "eth1");
        ledger.store(5, vlanSet({10, 4094}));
        ledger.store(6, vlanSet({11}));
    }

    ScratchDirectory scratch;
    const std::string path = scratch.path("ledger");
};

TEST_F(LedgerTest, RemembersForTheSameScopeOnly) {
    fill();
    const auto records = found(scope);
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].index, 5U);
    EXPECT_EQ(records[0].name, "eth0");
    EXPECT_EQ(records[0].added, vlanSet({10, 4094}));
    LedgerScope rebooted = scope;
    rebooted.bootId = "another";
    EXPECT_TRUE(found(rebooted).empty());
    fill();
    LedgerScope elsewhere = scope;
    elsewhere.networkNamespace = 8;
    EXPECT_TRUE(found(elsewhere).empty());
    fill();
    LedgerScope remade = scope;
    remade.bridgeIndex = 4;
    EXPECT_TRUE(found(remade).empty());
    EXPECT_TRUE(found(scope).empty()) << "a ledger of another scope was begun anew";
}

TEST_F(LedgerTest, IsReadBesideTheProcessThatHasIt) {
    EXPECT_FALSE(readLedger(path)) << "it is not there";
    Ledger ledger;
    std::string error;
    ASSERT_TRUE(ledger.open(path, scope, error));
    ledger.prepare(5, "eth0");
    ledger.prepare(6, "eth1");
    ledger.forget(5);
    ledger.store(6, vlanSet({11}));
    const auto contents = readLedger(path);
    ASSERT_TRUE(contents);
    EXPECT_EQ(contents->scope, scope);
    ASSERT_EQ(contents->records.size(), 1U);
    EXPECT_EQ(contents->records[0].index, 6U);
    EXPECT_EQ(contents->records[0].name, "eth1");
    EXPECT_EQ(contents->records[0].added, vlanSet({11}));
    std::ofstream(scratch.path("other")) << std::string(2000, 'x');
    EXPECT_FALSE(readLedger(scratch.path("other")));
    ASSERT_EQ(mkfifo(scratch.path("pipe").c_str(), 0600), 0);
    EXPECT_FALSE(readLedger(scratch.path("pipe")));
}

TEST_F(LedgerTest, AForgottenPortIsNotFoundAndItsPlaceIsUsedAgain) {
    fill();
    {
        Ledger ledger;
        std::string error;
        ASSERT_TRUE(ledger.open(path, scope, error));
        ledger.forget(5);
        ledger.forget(99);
        ledger.prepare(7, "eth2");
        ledger.store(7, vlanSet({12}));
        ledger.prepare(6, "renamed");
        ledger.store(8, vlanSet({13}));  // not prepared
    }
    const auto records = found(scope);
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].index, 7U);
    EXPECT_EQ(records[1].name, "renamed");
    EXPECT_EQ(records[1].added, vlanSet({11}));
    struct stat facts {};
    ASSERT_EQ(stat(path.c_str(), &facts), 0);
    EXPECT_EQ(facts.st_size, 3 * 1024);
}

TEST_F(LedgerTest, WhatIsNoLedgerIsBegunAnew) {
    std::ofstream(path) << "something else";
    EXPECT_TRUE(found(scope).empty());
    fill();
    ASSERT_EQ(truncate(path.c_str(), 1500), 0);
    EXPECT_TRUE(found(scope).empty()) << "a record that is not there as a whole";
}

TEST_F(LedgerTest, ADamagedRecordIsNotUsedAndTheOthersAre) {
    fill();
    {
        std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(2 * 1024 + 100);  // a VLAN of the second record
        file.put(1);
    }
    ::testing::internal::CaptureStderr();
    const auto records = found(scope);
    const std::string log = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("1 records are damaged"), std::string::npos) << log;
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].index, 5U);
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(found(scope).size(), 1U);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "") << "it is whole again";
}

TEST_F(LedgerTest, ADamagedHeaderMakesItNoLedger) {
    fill();
    {
        std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(500);
        file.put(1);
    }
    EXPECT_TRUE(found(scope).empty());
}

TEST_F(LedgerTest, TheFileIsForOneProcess) {
    Ledger first;
    Ledger second;
    std::string error;
    ASSERT_TRUE(first.open(path, scope, error));
    EXPECT_FALSE(second.open(path, scope, error));
    EXPECT_NE(error.find("another daemon"), std::string::npos);
    first.close();
    EXPECT_TRUE(second.open(path, scope, error));
}

TEST_F(LedgerTest, ALinkInItsPlaceIsNotFollowed) {
    std::ofstream(scratch.path("victim")) << "precious";
    ASSERT_EQ(symlink(scratch.path("victim").c_str(), path.c_str()), 0);
    Ledger ledger;
    std::string error;
    EXPECT_FALSE(ledger.open(path, scope, error));
    ASSERT_EQ(unlink(path.c_str()), 0);
    ASSERT_EQ(link(scratch.path("victim").c_str(), path.c_str()), 0);
    EXPECT_FALSE(ledger.open(path, scope, error));
    EXPECT_NE(error.find("not a file of this user"), std::string::npos);
}

/// A file that may not grow stands for a disk that is full.
TEST_F(LedgerTest, AFullDiskIsLoggedAndAllIsWrittenWhenThereIsRoom) {
    Ledger ledger;
    std::string error;
    ASSERT_TRUE(ledger.open(path, scope, error));
    ledger.prepare(5, "eth0");
    ledger.store(5, vlanSet({10}));
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    auto* handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit none = {1024, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &none), 0);
    ledger.prepare(6, "eth1");
    ledger.store(6, vlanSet({11}));
    ledger.store(5, vlanSet({10, 12}));
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    std::signal(SIGXFSZ, handler);
    ledger.store(6, vlanSet({11, 13}));
    ledger.close();
    const auto records = found(scope);
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].added, vlanSet({10, 12}));
    EXPECT_EQ(records[1].added, vlanSet({11, 13}));
}

TEST(LedgerScopeTest, IsThatOfThisBootAndNamespace) {
    const LedgerScope scope = currentScope("br0", 3);
    EXPECT_EQ(scope, currentScope("br0", 3));
    EXPECT_EQ(scope.bootId.size(), 36U);
    EXPECT_NE(scope, currentScope("br1", 3));
}

}  // namespace
}  // namespace platform::testing
