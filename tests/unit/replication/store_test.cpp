// SPDX-License-Identifier: MIT
#include "platform/replication/store.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <random>

#include "platform/contract/management.h"
#include "tests/scratch_directory.h"

namespace platform {
namespace {

constexpr ManagementCommand kEnable{false, 0, MVRP_SCALAR_ENABLE, MVRP_ON};
constexpr ManagementCommand kDisable{false, 0, MVRP_SCALAR_ENABLE, MVRP_OFF};

constexpr ManagementCommand port(u32 unit, u32 attribute, u32 value) {
    return {true, unit, attribute, value};
}

class Store : public testing::Test {
  protected:
    std::string written() const {
        std::ifstream file(path_);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    /// What a process that starts now begins with.
    ManagementConfig restarted(const ManagementConfig& file = {}) const {
        CommandStore store(path_);
        store.open();
        return store.appliedTo(file);
    }

    const ScratchDirectory directory_;
    const std::string path_ = directory_.path("store");
};

TEST_F(Store, WhatWasRecordedIsThereAfterARestart) {
    {
        CommandStore store(path_);
        store.open();
        store.record(kEnable);
        store.record(port(3, MVRP_PORT_ENABLE, MVRP_ON));
        store.record(port(3, 5, 200));
    }
    const ManagementConfig settings = restarted();
    EXPECT_EQ(settings.enable, MVRP_ON);
    EXPECT_EQ(settings.ports.at(3).joinTime, 200U);
    EXPECT_EQ(written(), "mvrp configuration store 1\nfc001 0 1\n40a8001 3 1\n40a8005 3 200\n");
}

TEST_F(Store, ItsCommandsAreLaterThanTheConfigurationFile) {
    ManagementConfig file;
    file.enable = MVRP_ON;
    file.ports[3] = {MVRP_ON, 2, {}, {}, 6000, {}, {}};
    file.ports[4].enable = MVRP_ON;
    {
        CommandStore store(path_);
        store.open();
        store.record(port(3, 5, 200));
        store.record(port(4, MVRP_PORT_ENABLE, MVRP_OFF));
    }
    const ManagementConfig settings = restarted(file);
    EXPECT_EQ(settings.ports.at(3).joinTime, 200U);
    EXPECT_EQ(settings.ports.at(3).registration, 2U);
    EXPECT_EQ(settings.ports.at(4).enable, MVRP_OFF);
}

TEST_F(Store, WhatAChangedFileSetsIsNoLongerKept) {
    CommandStore store(path_);
    store.open();
    store.record(port(3, 5, 200));
    store.record(port(3, 6, 900));
    store.supersede(port(3, 5, 300));
    store.flush();
    EXPECT_EQ(written(), "mvrp configuration store 1\n40a8006 3 900\n");
    store.supersede(port(3, MVRP_PORT_ENABLE, MVRP_OFF));
    store.flush();
    EXPECT_EQ(written(), "mvrp configuration store 1\n");
}

TEST_F(Store, WithoutAPathNothingIsKept) {
    CommandStore store("");
    store.open();
    store.record(kEnable);
    store.flush();
    EXPECT_FALSE(store.appliedTo({}).enable);
}

TEST_F(Store, AFileThatIsNoStoreIsKeptAsideAndNotUsed) {
    for (const char* text :
         {"", "something else\n", "mvrp configuration store 1\nfc001 0\n",
          "mvrp configuration store 1\nfc001 0 1 2\n", "mvrp configuration store 1\nffffffff 0 1\n",
          "mvrp configuration store 1\nfc001 0 x\n"}) {
        std::ofstream(path_) << text;
        testing::internal::CaptureStderr();
        EXPECT_EQ(restarted(), ManagementConfig{}) << text;
        EXPECT_NE(testing::internal::GetCapturedStderr().find("not a configuration store"),
                  std::string::npos);
        EXPECT_EQ(access(path_.c_str(), F_OK), -1);
        EXPECT_EQ(access((path_ + ".broken").c_str(), F_OK), 0);
    }
}

TEST_F(Store, AFileThatCanNotBeWrittenIsLoggedAndWrittenWithTheNextChange) {
    const std::string missing = directory_.path("missing/store");
    CommandStore store(missing);
    store.open();
    testing::internal::CaptureStderr();
    store.record(kEnable);
    store.flush();
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("could not be written: No such file"), std::string::npos) << log;
    EXPECT_EQ(store.appliedTo({}).enable, MVRP_ON);
    std::filesystem::create_directory(directory_.path("missing"));
    store.record(port(3, MVRP_PORT_ENABLE, MVRP_ON));
    store.flush();
    std::ifstream file(missing);
    const std::string text((std::istreambuf_iterator<char>(file)), {});
    EXPECT_EQ(text, "mvrp configuration store 1\nfc001 0 1\n40a8001 3 1\n");
}

TEST_F(Store, AFullDiskLeavesTheOldFileInPlace) {
    {
        CommandStore store(path_);
        store.open();
        store.record(kEnable);
    }
    std::filesystem::create_symlink("/dev/full", path_ + ".new");
    CommandStore store(path_);
    store.open();
    testing::internal::CaptureStderr();
    store.record(kDisable);
    store.flush();
    EXPECT_NE(testing::internal::GetCapturedStderr().find("No space left"), std::string::npos);
    EXPECT_EQ(written(), "mvrp configuration store 1\nfc001 0 1\n");
}

TEST(StoreList, TheListStaysShortAndMeansTheSameAsAllCommands) {
    std::mt19937 engine(5);
    const auto random = [&engine](u32 below) { return static_cast<u32>(engine()) % below; };
    std::vector<ManagementCommand> list;
    ManagementConfig all;
    for (int step = 0; step < 5000; step++) {
        ManagementCommand command = port(1 + random(3), 1 + random(7), random(3));
        if (random(10) == 0)
            command = {false, 0, random(2) == 0 ? MVRP_SCALAR_ENABLE : MVRP_SCALAR_GVRP_COMPLIANCE,
                       random(3)};
        appendCommand(list, command);
        applyCommand(all, command);
        ManagementConfig listed;
        for (const ManagementCommand& kept : list)
            applyCommand(listed, kept);
        ASSERT_EQ(listed, all) << "step " << step;
        ASSERT_LE(list.size(), 3 + 3 * 8U);
    }
}

TEST(StoreList, TheTextOfAListIsReadBack) {
    const std::vector<ManagementCommand> list = {kDisable, kEnable, port(0xFFFFFFFF, 7, 327650)};
    u32 line = 0;
    EXPECT_EQ(parseStore(formatStore(list), line), list);
}

/// A store by name on a bridge whose interfaces have these numbers.
class StoreByName : public Store {
  protected:
    std::unique_ptr<CommandStore> start(const std::map<u32, std::string>& interfaces) {
        interfaces_ = interfaces;
        auto store = std::make_unique<CommandStore>(path_);
        store->keepByName([this](u32 unit) { return interfaces_[unit]; });
        store->open();
        return store;
    }
    ManagementConfig settings(const CommandStore& store) const {
        return store.appliedTo({}, [this](const std::string& name) -> std::optional<u32> {
            for (const auto& [unit, known] : interfaces_)
                if (known == name)
                    return unit;
            return std::nullopt;
        });
    }

    std::map<u32, std::string> interfaces_;
};

TEST_F(StoreByName, APortHasItsSettingsUnderAnotherNumber) {
    {
        const auto store = start({{3, "swp1"}, {4, "swp2"}});
        store->record(kEnable);
        store->record(port(4, MVRP_PORT_ENABLE, MVRP_ON));
        store->record(port(4, 5, 200));
    }
    EXPECT_EQ(written(),
              "mvrp configuration store 1 by name\nfc001 - 1\n40a8001 swp2 1\n40a8005 swp2 200\n");
    const auto store = start({{4, "swp1"}, {9, "swp2"}});
    const ManagementConfig found = settings(*store);
    EXPECT_EQ(found.enable, MVRP_ON);
    ASSERT_EQ(found.ports.size(), 1U);
    EXPECT_EQ(found.ports.at(9).joinTime, 200U);
}

TEST_F(StoreByName, APortThatIsNotThereIsKeptForWhenItComes) {
    start({{3, "tap0"}})->record(port(3, 5, 200));
    const auto store = start({});
    EXPECT_TRUE(settings(*store).ports.empty());
    interfaces_ = {{12, "tap0"}};
    EXPECT_EQ(settings(*store).ports.at(12).joinTime, 200U);
}

TEST_F(StoreByName, NothingIsKeptOfAPortThatIsGone) {
    const auto store = start({});
    store->record(port(3, 5, 200));
    EXPECT_TRUE(store->flush());
    EXPECT_TRUE(store->kept().empty());
}

TEST_F(StoreByName, WhatAChangedFileSetsLeavesTheStore) {
    const auto store = start({{3, "swp1"}, {4, "swp2"}});
    store->record(port(3, 5, 200));
    store->record(port(3, 6, 900));
    store->record(port(4, 5, 200));
    const auto before = [](const std::string&) { return PortManagement{}; };
    const auto next = [](const std::string& name) {
        PortManagement settings;
        if (name == "swp1")
            settings.joinTime = 400;
        return settings;
    };
    const auto kept = store->kept();
    store->supersede({}, before, {}, next);
    const ManagementConfig found = settings(*store);
    EXPECT_EQ(found.ports.at(3).joinTime, std::nullopt);
    EXPECT_EQ(found.ports.at(3).leaveTime, 900U);
    EXPECT_EQ(found.ports.at(4).joinTime, 200U);
    store->restore(kept);
    EXPECT_EQ(settings(*store).ports.at(3).joinTime, 200U);
}

TEST_F(StoreByName, AStoreByUnitIsNotReadAsOneByName) {
    {
        CommandStore byUnit(path_);
        byUnit.open();
        byUnit.record(port(3, 5, 200));
    }
    EXPECT_TRUE(start({{3, "swp1"}})->kept().empty());
    EXPECT_TRUE(std::filesystem::exists(path_ + ".broken"));
}

TEST_F(StoreByName, ALineWithoutAPortWhereOneBelongsIsNoneOfAStore) {
    StoredNames names;
    u32 line = 0;
    const std::string head = "mvrp configuration store 1 by name\n";
    EXPECT_FALSE(parseStore(head + "40a8001 - 1\n", line, &names));
    EXPECT_EQ(line, 2U);
    EXPECT_FALSE(parseStore(head + "fc001 swp1 1\n", line, &names));
    EXPECT_TRUE(parseStore(head + "40a8001 swp1 1\n", line, &names));
}

}  // namespace
}  // namespace platform
