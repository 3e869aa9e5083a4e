// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "cli/config/running_config.h"
#include "cli/watch/screen.h"
#include "cli/watch/watch_output.h"

namespace cli {
namespace {

ScreenView viewOf(std::size_t ports) {
    ScreenView view;
    view.title = "sw1";
    view.vlans.staticVlans = platform::vlanRange(1, 1);
    for (std::size_t i = 0; i < ports; ++i) {
        PortView port;
        port.port.unit = static_cast<u32>(i + 1);
        ("port" + std::to_string(i + 1)).copy(port.port.name.data(), port.port.name.size() - 1);
        port.port.link = 1;
        port.settings = PortSettings{};
        port.machines.resize(4095);
        port.permitted = platform::vlanRange(1, 4094);
        view.vlans.ports.push_back(port);
    }
    return view;
}

std::string joined(const ScreenDrawing& drawing) {
    std::string text;
    for (const std::string& line : drawing.lines)
        text += line + "\n";
    return text;
}

TEST(Screen, PutsVlansThatLookAlikeIntoOneRow) {
    ScreenView view = viewOf(2);
    PortView& port = view.vlans.ports[0];
    port.dynamic = platform::vlanRange(10, 60);
    for (u32 vid = 10; vid <= 40; ++vid)
        port.machines[vid - 1] = {0, 0, 2};  // IN, registered
    port.machines[41 - 1] = {0, 1, 2};       // LV, still registered
    view.vlans.ports[1].registered = platform::vlanRange(70, 70);
    const std::string text = joined(drawScreen(view, 80, 24, {}));
    const auto row = [](std::string vlans, const char* first, const char* second) {
        vlans.resize(26, ' ');
        return "\n" + vlans + "   " + first + "      " + second + "   \n";
    };
    EXPECT_NE(text.find(row("10-40", "L", ".")), std::string::npos) << text;
    EXPECT_NE(text.find(row("41", "l", ".")), std::string::npos) << text;
    EXPECT_NE(text.find(row("42-60", "x", ".")), std::string::npos) << text;
    EXPECT_NE(text.find(row("70", ".", "!")), std::string::npos) << text;
    EXPECT_NE(text.find(row("1", "S", "S")), std::string::npos) << text;
}

TEST(Screen, GivesTheVlansWhatThePortsLeave) {
    ScreenView view = viewOf(2);
    for (u32 vid = 10; vid < 50; vid += 2)
        platform::vlanInsert(view.vlans.ports[0].registered, vid);
    const char* const all = "\n10,12,14,16,18,20,22,24,26,28,30,32,34,36,38,40,42,44,46,48    ! ";
    EXPECT_NE(joined(drawScreen(view, 140, 24, {})).find(all), std::string::npos);
    const std::string narrow = joined(drawScreen(view, 50, 24, {}));
    EXPECT_NE(narrow.find("... (20)"), std::string::npos) << narrow;
}

TEST(Screen, ExplainsAllMarksInEightyColumns) {
    const std::string text = joined(drawScreen(viewOf(2), 80, 24, {}));
    EXPECT_NE(
        text.find("S static  L learnt  l leaving  x extra  ! missing  d declared only  q ends"),
        std::string::npos)
        << text;
}

TEST(ChangeText, HasWhatHappenedInOneColumn) {
    platform::ChangeRecord change{};
    change.kind = static_cast<u32>(platform::ChangeKind::MemberAdded);
    change.unit = 1;
    change.firstVid = change.lastVid = 40;
    const PortNames names = {{1, "west"}, {2, "northwest"}};
    EXPECT_EQ(changeText(change, names, {}).substr(12), "  west       40 came onto the port");
    change.unit = 2;
    EXPECT_EQ(changeText(change, names, {}).substr(12), "  northwest  40 came onto the port");
    change.unit = 0;
    change.kind = static_cast<u32>(platform::ChangeKind::VlanLearnt);
    EXPECT_EQ(changeText(change, names, {}).substr(12), "  switch     learnt VLANs created: 40");
}

TEST(Gather, PutsVlansOfOneChangeTogether) {
    const auto made = [](platform::ChangeKind kind, u32 unit, u32 vid, u64 timeMs) {
        platform::ChangeRecord change{};
        change.kind = static_cast<u32>(kind);
        change.unit = unit;
        change.firstVid = change.lastVid = vid;
        change.timeMs = timeMs;
        return change;
    };
    using enum platform::ChangeKind;
    const auto gathered = gather({made(MemberAdded, 1, 10, 1000), made(MemberAdded, 1, 12, 1001),
                                  made(VlanLearnt, 0, 10, 1001), made(MemberAdded, 2, 14, 1001),
                                  made(MemberAdded, 1, 14, 1100), made(MemberAdded, 1, 16, 1101),
                                  made(LinkUp, 1, 0, 1101), made(LinkUp, 1, 0, 1101)});
    std::vector<std::string> vlans;
    for (const GatheredChange& change : gathered)
        vlans.push_back(platform::formatVlanRanges(change.vlans));
    EXPECT_EQ(vlans, (std::vector<std::string>{"10,12,14", "10", "14", "16", "-", "-"}));
}

TEST(Screen, FitsAnyTerminal) {
    ScreenView view = viewOf(48);
    for (u32 vid = 2; vid < 400; vid += 2)
        platform::vlanInsert(view.vlans.ports[vid % 48].dynamic, vid);
    for (int i = 0; i < 50; ++i)
        view.changes.emplace_back("a change of a VLAN on a port, told at some length");
    for (const std::size_t columns : {40U, 80U, 132U, 300U}) {
        for (const std::size_t rows : {10U, 24U, 60U}) {
            const auto lines = drawScreen(view, columns, rows, {}).lines;
            EXPECT_LE(lines.size(), rows) << columns << "x" << rows;
            for (const std::string& line : lines)
                EXPECT_LE(line.size(), columns) << line;
        }
    }
}

/// `count` rows of VLANs that look different: each on a port of its own, or missing there.
void fill(ScreenView& view, u32 count) {
    for (u32 i = 0; i < count; ++i)
        platform::vlanInsert(i < view.vlans.ports.size()
                                 ? view.vlans.ports[i].registered
                                 : view.vlans.ports[i % view.vlans.ports.size()].dynamic,
                             100 + i);
}

TEST(Screen, ShowsAllOf48PortsInEightyColumns) {
    ScreenView view = viewOf(48);
    platform::vlanInsert(view.vlans.ports[47].registered, 7);
    const ScreenDrawing drawing = drawScreen(view, 80, 24, {});
    EXPECT_EQ(drawing.portsShown, 48U);
    const std::string text = joined(drawing);
    EXPECT_NE(text.find("\nVLANs on port1-48                   1111111 11122222 22222333 33333334 "
                        "44444444\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("\n                          12345678 90123456 78901234 56789012 34567890 "
                        "12345678\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find(".......!\n"), std::string::npos) << text;
}

TEST(Screen, HeadsPortsOfOtherNamesByTheirUnits) {
    ScreenView view = viewOf(20);
    view.vlans.ports[19].port.name = {'u', 'p'};
    EXPECT_NE(joined(drawScreen(view, 80, 24, {})).find("\nVLANs on units"), std::string::npos);
}

TEST(Screen, ScrollsRowsAndPorts) {
    ScreenView view = viewOf(100);
    fill(view, 40);
    ScreenDrawing drawing = drawScreen(view, 80, 24, {});
    ASSERT_LT(drawing.rowsShown, 40U);
    ASSERT_LT(drawing.portsShown, 100U);
    EXPECT_EQ(drawing.rows, 41U);  // VLAN 1 is static everywhere
    EXPECT_NE(joined(drawing).find("shown: rows 1-"), std::string::npos) << joined(drawing);
    EXPECT_NE(joined(drawing).find(" of 100, arrows and Page keys scroll"), std::string::npos);
    scroll(view, drawing, Key::Down);
    scroll(view, drawing, Key::Right);
    EXPECT_EQ((std::pair{view.firstRow, view.firstPort}),
              (std::pair<std::size_t, std::size_t>{1, 1}));
    EXPECT_NE(joined(drawScreen(view, 80, 24, {})).find("shown: rows 2-"), std::string::npos);
    scroll(view, drawing, Key::Last);
    drawing = drawScreen(view, 80, 24, {});
    EXPECT_EQ(view.firstRow, 41 - drawing.rowsShown);
    EXPECT_NE(joined(drawing).find("\n139 "), std::string::npos) << joined(drawing);
    scroll(view, drawing, Key::Down);
    EXPECT_EQ(view.firstRow, 41 - drawing.rowsShown);
    scroll(view, drawing, Key::First);
    scroll(view, drawing, Key::Up);
    scroll(view, drawing, Key::Left);
    scroll(view, drawing, Key::Left);
    EXPECT_EQ((std::pair{view.firstRow, view.firstPort}),
              (std::pair<std::size_t, std::size_t>{0, 0}));
    scroll(view, drawing, Key::PageDown);
    EXPECT_EQ(view.firstRow, drawing.rowsShown);
}

TEST(Screen, StaysFullWhenWhatItShowsGetsLess) {
    ScreenView view = viewOf(2);
    view.firstRow = 500;
    view.firstPort = 9;
    EXPECT_NE(joined(drawScreen(view, 80, 24, {})).find("\n1 "), std::string::npos);
    EXPECT_TRUE(joined(drawScreen(viewOf(0), 80, 24, {})).find("No VLAN") != std::string::npos);
}

TEST(Keys, AreReadAsTerminalsSendThem) {
    using Keys = std::vector<Key>;
    EXPECT_EQ(keysOf("\x1b[A\x1b[B\x1bOC\x1b[D"),
              (Keys{Key::Up, Key::Down, Key::Right, Key::Left}));
    EXPECT_EQ(keysOf("\x1b[5~\x1b[6~\x1b[H\x1b[F"),
              (Keys{Key::PageUp, Key::PageDown, Key::First, Key::Last}));
    EXPECT_EQ(keysOf("jkq"), (Keys{Key::Down, Key::Up, Key::End}));
}

TEST(Keys, OtherThanTheseMeanNothing) {
    for (const char* bytes :
         {"", "x", "\x1b", "\x1b[", "\x1b[15~", "\x1b[1;5C", "\x1b[200", "\xff"})
        EXPECT_TRUE(keysOf(bytes).empty()) << bytes;
    EXPECT_EQ(keysOf("\x1b[15~q"), std::vector<Key>{Key::End});
}

TEST(Screen, SaysThatTheDaemonCanNotBeReached) {
    ScreenView view = viewOf(1);
    view.problem = "cannot connect";
    EXPECT_NE(joined(drawScreen(view, 80, 24, {})).find("cannot connect"), std::string::npos);
}

TEST(ReplaceTables, KeepsEverythingElseWithItsComments) {
    const std::string before =
        "# the switch\n[switch]\nname = \"a\"\n\n# settings\n[management]\nenable = true\n"
        "# of a port\n[[management.port]]\nunit = 1\n\n# store\n[store]\nfile = \"x\"\n";
    EXPECT_EQ(replaceTables(before, {"management"}, "\n[management]\nenable = false\n"),
              "# the switch\n[switch]\nname = \"a\"\n\n# store\n[store]\nfile = \"x\"\n"
              "\n[management]\nenable = false\n");
}

TEST(ReplaceTables, TakesAFileWithoutALastLineEnd) {
    EXPECT_EQ(replaceTables("[a]\nb = 1", {"port"}, "\n[[port]]\n"), "[a]\nb = 1\n\n[[port]]\n");
    EXPECT_EQ(replaceTables("", {"port"}, "[[port]]\n"), "[[port]]\n");
}

}  // namespace
}  // namespace cli
