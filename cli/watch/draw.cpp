// SPDX-License-Identifier: MIT
#include <algorithm>
#include <span>

#include "cli/client/port_ranges.h"
#include "cli/print/words.h"
#include "cli/views/text.h"
#include "cli/watch/screen.h"

namespace cli {

namespace {

using platform::VlanBitmap;
using platform::vlanContains;

/// What a port is to a VLAN, in one cell.
enum class Mark : u8 { None, Static, Learnt, Leaving, Extra, Missing, Declared };

struct MarkLook {
    const char* text;
    Colour colour;
    const char* words;
};

MarkLook lookOf(Mark mark) {
    switch (mark) {
        case Mark::Static:
            return {"S", Colour::Plain, "static"};
        case Mark::Learnt:
            return {"L", Colour::Good, "learnt"};
        case Mark::Leaving:
            return {"l", Colour::Warn, "leaving"};
        case Mark::Extra:
            return {"x", Colour::Warn, "extra"};
        case Mark::Missing:
            return {"!", Colour::Bad, "missing"};
        case Mark::Declared:
            return {"d", Colour::Dim, "declared only"};
        case Mark::None:
            break;
    }
    return {".", Colour::Dim, "nothing"};
}

Mark markOf(const PortView& port, u32 vid, bool isStatic) {
    const bool known = port.machines.size() >= vid;
    const platform::MachineRecord machine =
        known ? port.machines[vid - 1] : platform::MachineRecord{};
    if (vlanContains(port.dynamic, vid) && known && !isRegistered(machine))
        return Mark::Extra;
    if (vlanContains(port.dynamic, vid))
        return isLeaving(machine) ? Mark::Leaving : Mark::Learnt;
    if (isStatic && vlanContains(port.permitted, vid))
        return Mark::Static;
    if (vlanContains(port.registered, vid))
        return Mark::Missing;
    return vlanContains(port.declared, vid) ? Mark::Declared : Mark::None;
}

/// VLANs that look the same on every port.
struct Row {
    VlanBitmap vlans{};
    std::vector<Mark> marks;
};

std::vector<Row> rowsOf(const VlansView& view) {
    std::vector<Row> rows;
    std::vector<Mark> marks(view.ports.size());
    for (u32 vid = platform::kFirstVlan; vid <= platform::kLastVlan; ++vid) {
        const bool isStatic = vlanContains(view.staticVlans, vid);
        for (std::size_t i = 0; i < marks.size(); ++i)
            marks[i] = markOf(view.ports[i], vid, isStatic);
        if (std::ranges::all_of(marks, [](Mark mark) { return mark == Mark::None; }))
            continue;
        auto found = std::ranges::find(rows, marks, &Row::marks);
        if (found == rows.end())
            found = rows.insert(rows.end(), {{}, marks});
        platform::vlanInsert(found->vlans, vid);
    }
    return rows;
}

std::string cut(const std::string& text, std::size_t width) {
    return text.size() <= width ? text : text.substr(0, width == 0 ? 0 : width - 1) + "~";
}

std::string centred(const std::string& text, std::size_t width) {
    const std::size_t left = (width - std::min(width, text.size())) / 2;
    std::string cell = std::string(left, ' ') + text;
    cell.resize(std::max(cell.size(), width), ' ');
    return cell;
}

/// How the columns of ports are headed.
enum class Heads {
    Names,
    Numbers,  ///< units, or the numbers that their names end in
    OnEnd,    ///< the same, a digit below the other, and a port takes one column
};

class Drawing {
  public:
    Drawing(const ScreenView& view, std::size_t columns, std::size_t rows, const Style& style)
        : view_(view), ports_(view.vlans.ports), columns_(columns), rows_(rows), style_(style) {}

    ScreenDrawing draw() {
        layOut();
        add(Colour::Strong, view_.title);
        if (!view_.problem.empty())
            add(Colour::Bad, view_.problem);
        lines_.emplace_back();
        drawHead();
        drawRows();
        drawLegend();
        drawChanges();
        return {lines_, groups_.size(), rowsShown_, shown_};
    }

  private:
    void add(Colour colour, const std::string& text) {
        lines_.push_back(style_.paint(colour, cut(text, columns_)));
    }

    // Columns ------------------------------------------------------------------------------------

    void layOut() {
        constexpr std::size_t kLongestName = 12;
        const std::size_t room = columns_ > kVlansLeast ? columns_ - kVlansLeast : 0;
        for (const PortView& port : ports_)
            cellWidth_ = std::max(cellWidth_, cut(port.port.name.data(), kLongestName).size() + 2);
        if (width(ports_.size()) > room)
            useNumbers(Heads::Numbers);
        if (width(ports_.size()) > room)
            useNumbers(Heads::OnEnd);
        while (shown_ < ports_.size() && width(shown_ + 1) <= room)
            ++shown_;
        firstPort_ = std::min(view_.firstPort, ports_.size() - shown_);
        widenVlans();
    }

    /// Numbers of names that differ in nothing else say more than units do.
    void useNumbers(Heads heads) {
        heads_ = heads;
        const std::string_view word = numberedName(ports_.front().port.name.data()).word;
        byName_ = std::ranges::all_of(ports_, [word](const PortView& port) {
            const NumberedName name = numberedName(port.port.name.data());
            return name.number && name.word == word;
        });
        cellWidth_ = heads == Heads::OnEnd ? 1 : longestNumber(ports_) + 1;
    }

    u32 numberOf(const PortView& port) const {
        return byName_ ? *numberedName(port.port.name.data()).number : port.port.unit;
    }

    /// Columns that so many ports take.
    std::size_t width(std::size_t ports) const {
        const std::size_t gaps =
            heads_ == Heads::OnEnd && ports > 0 ? (ports - 1) / kPortsTogether : 0;
        return ports * cellWidth_ + gaps;
    }

    /// The column of VLANs takes what the ports leave it, as far as there is something to write.
    void widenVlans() {
        const std::size_t ports = width(shown_);
        const std::size_t most = std::min(columns_ - std::min(columns_, ports), kVlansMost);
        for (const Row& row : groups_) {
            const std::size_t wanted = platform::formatVlanRanges(row.vlans).size() + 1;
            vlansWidth_ = std::max(vlansWidth_, std::min(wanted, most));
        }
    }

    // Lines --------------------------------------------------------------------------------------

    /// A line of a label and a cell for each port that is shown.
    template <typename CellOf>
    void addLine(const std::string& label, CellOf cellOf) {
        std::string line = label;
        line.resize(vlansWidth_, ' ');
        for (std::size_t i = 0; i < shown_; ++i) {
            if (heads_ == Heads::OnEnd && i != 0 && i % kPortsTogether == 0)
                line += ' ';
            const Cell cell = cellOf(firstPort_ + i);
            line += style_.paint(cell.colour, centred(cell.text, cellWidth_));
        }
        lines_.push_back(line);
    }

    void drawHead() {
        const auto addHeads = [this](const std::string& label, auto textOf) {
            addLine(label, [&](std::size_t i) {
                const PortView& port = ports_[i];
                const bool runs = port.settings.has_value();
                return Cell(textOf(port), port.port.link != 1 ? Colour::Bad
                                          : runs              ? Colour::Strong
                                                              : Colour::Dim);
            });
        };
        if (heads_ == Heads::Names)
            return addHeads("VLANs", [this](const PortView& port) {
                return cut(port.port.name.data(), cellWidth_ - 2);
            });
        if (heads_ == Heads::Numbers)
            return addHeads(
                caption(), [this](const PortView& port) { return std::to_string(numberOf(port)); });
        const std::size_t digits = longestNumber(std::span(ports_).subspan(firstPort_, shown_));
        for (std::size_t place = 0; place < digits; ++place)
            addHeads(place == 0 ? caption() : "", [this, place, digits](const PortView& port) {
                std::string number = std::to_string(numberOf(port));
                number.insert(0, digits - number.size(), ' ');
                return number.substr(place, 1);
            });
    }

    /// What the numbers are: "VLANs on swp1-48", or units.
    std::string caption() const {
        std::vector<std::string> names;
        for (std::size_t i = 0; i < shown_; ++i)
            names.emplace_back(ports_[firstPort_ + i].port.name.data());
        return cut(byName_ ? "VLANs on " + portRangesText(names) : "VLANs on units",
                   vlansWidth_ - 1);
    }

    /// Digits of the longest of these ports' numbers.
    std::size_t longestNumber(std::span<const PortView> ports) const {
        std::size_t digits = 1;
        for (const PortView& port : ports)
            digits = std::max(digits, std::to_string(numberOf(port)).size());
        return digits;
    }

    void drawRows() {
        // Half of the screen at least is for the VLANs, and some of it for the changes.
        const std::size_t changes = std::min<std::size_t>(view_.changes.size() + 1, rows_ / 3);
        const std::size_t used = lines_.size() + 4 + changes;
        const std::size_t room = rows_ > used ? rows_ - used : 1;
        rowsShown_ = std::min(room, groups_.size());
        firstRow_ = std::min(view_.firstRow, groups_.size() - rowsShown_);
        for (std::size_t i = firstRow_; i < firstRow_ + rowsShown_; ++i) {
            const Row& row = groups_[i];
            addLine(formatVlansWithin(row.vlans, vlansWidth_ - 1), [&row](std::size_t port) {
                const MarkLook look = lookOf(row.marks[port]);
                return Cell(look.text, look.colour);
            });
        }
        if (groups_.empty())
            add(Colour::Dim, "No VLAN is in use.");
    }

    void drawLegend() {
        lines_.emplace_back();
        std::string legend;
        for (const Mark mark : {Mark::Static, Mark::Learnt, Mark::Leaving, Mark::Extra,
                                Mark::Missing, Mark::Declared})
            legend += std::string(lookOf(mark).text) + " " + lookOf(mark).words + "  ";
        add(Colour::Dim, legend + "q ends");
        const std::string hidden = part("rows", firstRow_, rowsShown_, groups_.size()) +
                                   part("ports", firstPort_, shown_, ports_.size());
        if (!hidden.empty() && lines_.size() < rows_)
            add(Colour::Warn, "shown: " + hidden + "arrows and Page keys scroll");
    }

    /// "rows 1-12 of 30, ", or nothing when all are shown.
    static std::string part(const char* what, std::size_t first, std::size_t shown,
                            std::size_t all) {
        if (shown == all)
            return {};
        return std::string(what) + " " + std::to_string(first + 1) + "-" +
               std::to_string(first + shown) + " of " + std::to_string(all) + ", ";
    }

    void drawChanges() {
        if (lines_.size() + 1 >= rows_ || view_.changes.empty())
            return;
        lines_.emplace_back();
        const std::size_t room = rows_ - lines_.size();
        const std::size_t first = view_.changes.size() - std::min(room, view_.changes.size());
        for (std::size_t i = first; i < view_.changes.size(); ++i)
            lines_.push_back(cut(view_.changes[i], columns_));
    }

    static constexpr std::size_t kVlansLeast = 26;
    static constexpr std::size_t kVlansMost = 70;
    static constexpr std::size_t kPortsTogether = 8;  ///< then a blank, for the eye

    const ScreenView& view_;
    const std::vector<PortView>& ports_;
    const std::size_t columns_;
    const std::size_t rows_;
    const Style& style_;
    const std::vector<Row> groups_ = rowsOf(view_.vlans);
    Heads heads_ = Heads::Names;
    bool byName_ = false;  ///< numbers are those of names, not units
    std::size_t vlansWidth_ = kVlansLeast;
    std::size_t cellWidth_ = 6;
    std::size_t firstPort_ = 0;
    std::size_t shown_ = 0;  ///< ports
    std::size_t firstRow_ = 0;
    std::size_t rowsShown_ = 0;
    std::vector<std::string> lines_;
};

}  // namespace

ScreenDrawing drawScreen(const ScreenView& view, std::size_t columns, std::size_t rows,
                         const Style& style) {
    return Drawing(view, columns, rows, style).draw();
}

}  // namespace cli
