// SPDX-License-Identifier: MIT
//
// Random scenarios, with no correction, with all, and with any set of them. Each is run with all
// trace lines and with none: what the daemon asks of the platform, and how it stands afterwards, is
// the same. With its lines on it goes VLAN by VLAN, without them many at once, so that the one is
// the reference of the other. Likewise on a switch that asks to be asked and on one that shows its
// facts in place, but for the look-ups that are not made there. And nothing crashes, which the
// sanitized builds watch.
#include <gtest/gtest.h>

#include <array>
#include <sstream>
#include <string>
#include <vector>

#include "platform/contract/corrections.h"
#include "platform/virtual/network/random.h"
#include "tests/scenario/lang/runner.h"

namespace {

using simulation::Random;

constexpr u64 kScenarios = 20;  // of each kind of set
constexpr u32 kSteps = 50;
constexpr std::array<u32, 4> kUnits = {3, 5, 7, 9};

template <typename Table>
const auto& anyOf(Random& random, const Table& table) {
    return table[random.below(static_cast<u32>(std::size(table)))];
}

/// Mostly from a few neighbours, so that things meet; sometimes from the ends.
u32 anyVid(Random& random) {
    constexpr std::array<u32, 4> kEnds = {1, 2, 4094, 4095};
    return random.percent(92) ? random.between(20, 31) : anyOf(random, kEnds);
}

std::string anyRanges(Random& random) {
    const u32 first = random.between(20, 28);
    return "1-2," + std::to_string(first) + "-" + std::to_string(random.between(first, 31)) +
           (random.percent(30) ? ",4094-4095" : "");
}

std::string hex(u64 number, u32 digits) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text(digits, '0');
    for (u32 at = digits; at > 0; at--, number >>= 4U)
        text[at - 1] = kDigits[number & 0xFU];
    return text;
}

/// A number as the route messages hold it: the lowest byte first.
std::string little(u32 number) {
    return hex(__builtin_bswap32(number), 8);
}

/// A vector of many VLANs that mostly says the same of all of them.
std::string longVector(Random& random) {
    const u32 values = random.between(30, 200);
    const u32 first = random.percent(80) ? random.between(1, 31) : random.between(3900, 4095);
    std::string text = hex(values, 4) + hex(first, 4);
    u32 event = random.below(6);
    for (u32 packed = 0; packed < (values + 2) / 3; packed++) {
        if (random.percent(2))
            event = random.below(6);
        text += hex(random.percent(98) ? event * 43 : random.below(256), 2);
    }
    return text;
}

std::string anyMvrpPdu(Random& random) {
    std::string text = "000101";
    if (random.percent(10))
        return text + "20000000";
    for (u32 vectors = random.between(1, 3); vectors > 0; vectors--) {
        if (random.percent(15)) {
            text += longVector(random);
            continue;
        }
        const u32 values = random.between(1, 9);
        text += hex(values, 4) + hex(anyVid(random), 4);
        const u32 event = random.below(8);  // 6 and 7: each value its own
        for (u32 packed = 0; packed < (values + 2) / 3; packed++) {
            const u32 same = event * 43;
            const u32 any = random.below(6) * 36 + random.below(6) * 6 + random.below(6);
            text += hex(event < 6 ? same : any, 2);
        }
    }
    return text + "0000";
}

std::string anyGvrpPdu(Random& random) {
    std::string text = "000101";
    for (u32 attributes = random.between(1, 4); attributes > 0; attributes--)
        text += random.percent(8) ? "0200"
                                  : "04" + hex(random.between(1, 6), 2) + hex(anyVid(random), 4);
    return text + "0000";
}

constexpr u32 kVlanInterfaces = 0x01000000;
constexpr std::string_view kNoHeader = "00000000000000000000000000000000";

std::string anyRouteMessage(Random& random, const std::string& unit) {
    const u32 vid = anyVid(random);
    const std::string index = little(kVlanInterfaces + vid);
    const std::string member = little(static_cast<u32>(std::stoul(unit)));
    const std::string head = std::string(kNoHeader) + "00000000";
    const std::string known = "index " + std::to_string(kVlanInterfaces + vid) +
                              " kind=3 vid=" + std::to_string(vid) + "\nroute ";
    const std::string change = "3800000020000000" + head;
    switch (random.below(6)) {
        case 0:
            return known + "3000000020000000" + head + index + "00000000ffffffff0000000000000000";
        case 1:
            return known + "3000000021000000" + head + index + "00000000000000000000000000000000";
        case 2:
        case 3:
            return known + change + index + "000000000000000000000000" + little(vid) + "0800" +
                   (random.percent(50) ? "4000" : "4100") + member;
        case 4:
            return known + change + index + "000000000000000000000000" + little(vid) +
                   "0800280002000000";
        default:
            return "route " + change + member + "000000000000000000000000" + little(vid) +
                   "05001000" + (random.percent(50) ? "01" : "00") + "000000";
    }
}

std::string anyFailure(Random& random) {
    constexpr std::array<std::string_view, 12> kFailures = {
        "ifget 208",   "ifget 65537",  "ifget 184",  "ifget 196",
        "ifget 198",   "ifget 159",    "ifsync 192", "ifsync 195",
        "vlansync 20", "vlanget 3501", "send mvrp",  "poolalloc mvrp_vlan"};
    return "fail " + std::string(anyOf(random, kFailures)) +
           " once skip=" + std::to_string(random.below(4));
}

std::string anyCall(Random& random, const std::string& unit) {
    const std::string vid = std::to_string(anyVid(random));
    constexpr std::array<std::string_view, 14> kOfPort = {
        "disable",     "enable",       "joinsend",  "leavesend", "deregdyn",
        "deregall",    "rcvleaveall",  "sendpkt",   "sendjoin",  "sendleaveall",
        "gvrpfwdjoin", "gvrpfwdleave", "regstatic", "gvrpjoin"};
    constexpr std::array<std::string_view, 4> kOfPortAndVlan = {"addstatic", "delstatic",
                                                                "entryadd", "entrydel"};
    constexpr std::array<std::string_view, 4> kTimers = {"join", "leave", "vjoin", "leaveall"};
    switch (random.below(7)) {
        case 0:
            return "call pending";
        case 1:
            return "call portvlandel";
        case 2:
            return "call expire " + unit + " " + std::string(anyOf(random, kTimers));
        case 3:
            return "call leaveind " + unit + " " + anyRanges(random);
        case 4:
            return "call leave " + vid + " " + unit;
        case 5:
            return "call " + std::string(anyOf(random, kOfPortAndVlan)) + " " + unit + " " + vid;
        default:
            return "call " + std::string(anyOf(random, kOfPort)) + " " + unit;
    }
}

std::string anyPoke(Random& random, const std::string& unit) {
    const std::string vids = anyRanges(random);
    switch (random.below(4)) {
        case 0:
            return "poke mad " + unit + " " + vids + " " + hex(random.below(13 * 16), 2);
        case 1:
            return "poke flag " + unit + " " + vids + " " + hex(u64{random.below(8)} * 0x20, 2) +
                   "\npoke entry " + unit + " " + vids;
        case 2:
            return "poke port " + unit + " peer " + std::to_string(random.below(2));
        default:
            return "poke port " + unit + " flag " + std::to_string(random.below(3));
    }
}

std::string anySetting(Random& random, const std::string& unit) {
    const u32 mode = random.between(1, 3);
    switch (random.below(9)) {
        case 0:
            return "cmd port-set " + unit + " 1 " + std::to_string(random.between(1, 2));
        case 1:
        case 2:
            return "cmd port-set " + unit + " 2 " + std::to_string(mode);
        case 3:
            return "cmd port-set " + unit + " 3 " + std::to_string(mode);
        case 4:
            return "vlan " + std::to_string(anyVid(random)) + " " +
                   (random.percent(30)   ? "absent"
                    : random.percent(50) ? "type=2"
                                         : "type=6");
        case 5:
            return "port " + unit + " admit=" + anyRanges(random);
        case 6:
            return "waiting " + std::string(random.percent(50) ? "mvrp" : "route") + " " +
                   std::to_string(random.below(2)) + ",0,1";
        case 7:
            return "port " + unit + " pvid=" + std::to_string(anyVid(random));
        default:
            return "port " + unit + " permit=" + anyRanges(random) + " tagged=" + anyRanges(random);
    }
}

std::string anyStep(Random& random) {
    const std::string unit = std::to_string(anyOf(random, kUnits));
    const u32 kind = random.below(100);
    if (kind < 40)
        return "rx " + ("mvrp " + unit + " " + anyMvrpPdu(random));
    if (kind < 46)
        return "rx " + ("gvrp " + unit + " " + anyGvrpPdu(random));
    if (kind < 64)
        return "advance " + std::to_string(random.between(1, 400));
    if (kind < 74)
        return anyRouteMessage(random, unit);
    if (kind < 82)
        return anySetting(random, unit);
    if (kind < 90)
        return anyCall(random, unit);
    if (kind < 96)
        return anyPoke(random, unit);
    return anyFailure(random);
}

std::string wordsOf(CorrectionSet set) {
    if (set.empty())
        return "none";
    std::string words;
    for (u32 at = 0; at < kCorrectionCount; at++)
        if (set.has(static_cast<Correction>(at)))
            words += (words.empty() ? "" : " ") + std::string(kCorrectionNames[at]);
    return words;
}

std::string portOf(const std::string& unit) {
    return "port " + unit + " permit=1-2,20-31,60-99,4094-4095 tagged=2,20-31,60-99,4094-4095\n";
}

/// A scenario; `@` stands where the debug mask is to be written.
std::string makeScenario(Random& random, CorrectionSet set) {
    std::string text = "correct " + wordsOf(set) + "\nopt mvrp.vlannumpertimes " +
                       std::to_string(random.between(1, 5)) + "\nvlan 1," +
                       std::to_string(anyVid(random)) + " type=2\n";
    text += "cmd scalar-set 2 @\ncmd scalar-set 1 1\n";
    for (const u32 number : kUnits) {
        const std::string unit = std::to_string(number);
        text += portOf(unit);
        for (const char* setting : {" 1 1", " 5 200", " 6 600", " 7 1500"})
            text.append("cmd port-set ").append(unit).append(setting).append("\n");
    }
    if (random.percent(15))
        text += "cmd scalar-set 3 1\n";
    for (u32 step = 0; step < kSteps; step++)
        text += anyStep(random) + "\n";
    for (const u32 unit : kUnits)
        text += "dump port " + std::to_string(unit) + "\n";
    return text + "dump pending\ndump platform\n";
}

/// What a run prints, without trace lines, printed frames, and the times that stand before those.
std::vector<std::string> run(std::string text, std::string_view mask,
                             scenario::Lookups lookups = {}) {
    text.replace(text.find('@'), 1, mask);
    std::istringstream input(text);
    std::vector<std::string> lines;
    const std::string problem = scenario::runScenario(
        input,
        [&lines](std::string_view line) {
            if (!line.starts_with("  log ") && !line.starts_with("  out ") &&
                !line.starts_with("  t=") && !line.starts_with("> cmd scalar-set 2 "))
                lines.emplace_back(line);
        },
        lookups);
    EXPECT_EQ(problem, "") << text;
    return lines;
}

/// What a run printed, and what the run was like.
struct Ran {
    std::string_view how;
    std::vector<std::string> lines;
};

/// @return the first difference of two runs of a scenario, empty for none
std::string compare(const Ran& one, const Ran& other, const std::string& text) {
    std::string command;
    for (std::size_t at = 0; at < std::max(one.lines.size(), other.lines.size()); at++) {
        const std::string end = "(end)\n";
        const std::string& left = at < one.lines.size() ? one.lines[at] : end;
        const std::string& right = at < other.lines.size() ? other.lines[at] : end;
        if (left.starts_with("> "))
            command = left;
        if (left != right)
            return std::string("in ")
                .append(command)
                .append(one.how)
                .append(left)
                .append(other.how)
                .append(right)
                .append(text);
    }
    return {};
}

/// @return what is wrong, empty for nothing
std::string compare(const std::string& text) {
    const scenario::Lookups hidden{.shown = false, .hidden = true};
    const scenario::Lookups shown{.shown = true, .hidden = true};
    const std::string untraced =
        compare({"quiet  ", run(text, "0")}, {"traced ", run(text, "0xff")}, text);
    const Ran quiet{"asked  ", run(text, "0", hidden)};
    const std::string inPlace = compare(quiet, {"shown  ", run(text, "0", shown)}, text);
    const std::string tracedInPlace =
        compare(quiet, {"traced and shown ", run(text, "0xff", shown)}, text);
    return untraced + inPlace + tracedInPlace;
}

class RandomScenarios : public testing::TestWithParam<int> {};

constexpr int kNone = 0;
constexpr int kAll = 1;

TEST_P(RandomScenarios, AskTheSameOfThePlatformWithAndWithoutTraceLinesOrFactsInPlace) {
    for (u64 seed = 0; seed < kScenarios; seed++) {
        Random random(seed * 3 + static_cast<u64>(GetParam()));
        const CorrectionSet any = CorrectionSet::ofBits(static_cast<u32>(random.next()));
        const CorrectionSet set = GetParam() == kNone  ? CorrectionSet()
                                  : GetParam() == kAll ? CorrectionSet::all()
                                                       : any;
        const std::string problem = compare(makeScenario(random, set));
        ASSERT_EQ(problem, "") << "seed " << seed;
    }
}

INSTANTIATE_TEST_SUITE_P(Corrections, RandomScenarios, testing::Values(kNone, kAll, kAll + 1),
                         [](const auto& kind) {
                             return kind.param == kNone  ? "None"
                                    : kind.param == kAll ? "All"
                                                         : "AnySet";
                         });

}  // namespace
