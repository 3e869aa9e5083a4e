// SPDX-License-Identifier: MIT
#include <algorithm>

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

class Drawing {
  public:
    Drawing(const ScreenView& view, std::size_t columns, std::size_t rows, const Style& style)
        : view_(view), columns_(columns), rows_(rows), style_(style) {}

    std::vector<std::string> draw() {
        layOut();
        add(Colour::Strong, view_.title);
        if (!view_.problem.empty())
            add(Colour::Bad, view_.problem);
        lines_.emplace_back();
        drawHead();
        drawRows();
        drawLegend();
        drawChanges();
        return lines_;
    }

  private:
    void add(Colour colour, const std::string& text) {
        lines_.push_back(style_.paint(colour, cut(text, columns_)));
    }

    void layOut() {
        constexpr std::size_t kLongestName = 12;
        for (const PortView& port : view_.vlans.ports)
            cellWidth_ = std::max(cellWidth_, cut(port.port.name.data(), kLongestName).size() + 2);
        const std::size_t room = columns_ > kVlansLeast ? columns_ - kVlansLeast : 0;
        // With many ports their units stand for their names.
        if (cellWidth_ * view_.vlans.ports.size() > room) {
            byUnit_ = true;
            cellWidth_ = 4;
        }
        shown_ = std::min(view_.vlans.ports.size(), room / cellWidth_);
        widenVlans();
    }

    /// The column of VLANs takes what the ports leave it, as far as there is something to write.
    void widenVlans() {
        const std::size_t ports = shown_ * cellWidth_;
        const std::size_t most = std::min(columns_ - std::min(columns_, ports), kVlansMost);
        for (const Row& row : groups_) {
            const std::size_t wanted = platform::formatVlanRanges(row.vlans).size() + 1;
            vlansWidth_ = std::max(vlansWidth_, std::min(wanted, most));
        }
    }

    void drawHead() {
        std::string head = "VLANs";
        head.resize(vlansWidth_, ' ');
        std::string line = style_.paint(Colour::Strong, head);
        for (std::size_t i = 0; i < shown_; ++i) {
            const platform::SwitchPortRecord& port = view_.vlans.ports[i].port;
            const std::string name =
                byUnit_ ? std::to_string(port.unit) : cut(port.name.data(), cellWidth_ - 2);
            const bool runs = view_.vlans.ports[i].settings.has_value();
            line += style_.paint(port.link != 1 ? Colour::Bad
                                 : runs         ? Colour::Strong
                                                : Colour::Dim,
                                 centred(name, cellWidth_));
        }
        lines_.push_back(line);
    }

    void drawRows() {
        // Half of the screen at least is for the VLANs, and some of it for the changes.
        const std::size_t changes = std::min<std::size_t>(view_.changes.size() + 1, rows_ / 3);
        const std::size_t used = lines_.size() + 3 + changes;
        const std::size_t room = rows_ > used ? rows_ - used : 1;
        for (std::size_t i = 0; i < groups_.size() && i < room; ++i) {
            if (i + 1 == room && groups_.size() > room) {
                add(Colour::Dim, "... and " + std::to_string(groups_.size() - i) +
                                     " more groups of VLANs; a larger terminal shows them");
                break;
            }
            drawRow(groups_[i]);
        }
        if (groups_.empty())
            add(Colour::Dim, "No VLAN is in use.");
    }

    void drawRow(const Row& row) {
        std::string label = formatVlansWithin(row.vlans, vlansWidth_ - 1);
        label.resize(vlansWidth_, ' ');
        std::string line = label;
        for (std::size_t i = 0; i < shown_; ++i) {
            const MarkLook look = lookOf(row.marks[i]);
            line += style_.paint(look.colour, centred(look.text, cellWidth_));
        }
        lines_.push_back(line);
    }

    void drawLegend() {
        lines_.emplace_back();
        std::string legend;
        for (const Mark mark : {Mark::Static, Mark::Learnt, Mark::Leaving, Mark::Extra,
                                Mark::Missing, Mark::Declared})
            legend += std::string(lookOf(mark).text) + " " + lookOf(mark).words + "  ";
        if (shown_ < view_.vlans.ports.size())
            legend =
                std::to_string(view_.vlans.ports.size() - shown_) + " ports do not fit.  " + legend;
        add(Colour::Dim, legend + "q ends");
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

    const ScreenView& view_;
    const std::size_t columns_;
    const std::size_t rows_;
    const Style& style_;
    const std::vector<Row> groups_ = rowsOf(view_.vlans);
    std::size_t vlansWidth_ = kVlansLeast;
    std::size_t cellWidth_ = 6;
    std::size_t shown_ = 0;
    bool byUnit_ = false;
    std::vector<std::string> lines_;
};

}  // namespace

std::vector<std::string> drawScreen(const ScreenView& view, std::size_t columns, std::size_t rows,
                                    const Style& style) {
    return Drawing(view, columns, rows, style).draw();
}

}  // namespace cli
