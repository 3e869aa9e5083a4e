// SPDX-License-Identifier: MIT
//
// The picture: two panels with the same scale of time, which is logarithmic, as a join takes a
// second where a leave takes minutes.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "plan/report.h"

namespace plan {
namespace {

constexpr double kPanelWidth = 360;
constexpr double kPanelHeight = 260;
constexpr double kLeft = 70;
constexpr double kTop = 50;
constexpr double kGap = 70;
constexpr double kWidth = kLeft + 2 * kPanelWidth + kGap + 30;
constexpr double kHeight = kTop + kPanelHeight + 60;
constexpr double kLowestMs = 100;

struct Curve {
    const char* name;
    const char* colour;
    Phase Measurement::*phase;
};
constexpr std::array<Curve, 2> kCurves = {
    {{"join", "#1f6fb2", &Measurement::join}, {"leave", "#c2491d", &Measurement::leave}}};

/// A number without more digits than it needs.
std::string number(double value) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.6g", value);
    return text.data();
}

std::string element(double x, double y, const std::string& text, const char* anchor) {
    return "<text x=\"" + number(x) + "\" y=\"" + number(y) + "\" text-anchor=\"" + anchor + "\">" +
           text + "</text>\n";
}

std::string stroke(double x1, double y1, double x2, double y2, const char* colour) {
    return "<line x1=\"" + number(x1) + "\" y1=\"" + number(y1) + "\" x2=\"" + number(x2) +
           "\" y2=\"" + number(y2) + "\" stroke=\"" + colour + "\"/>\n";
}

/// Where a value lies on a logarithmic scale, from 0 to 1.
double logPlace(double value, double least, double most) {
    return (std::log(std::max(value, least)) - std::log(least)) /
           (std::log(most) - std::log(least));
}

/// One panel; its left edge is `left`.
class Panel {
  public:
    Panel(double left, const std::vector<Point>& points, double highestMs)
        : left_(left), points_(points), highestMs_(highestMs) {}

    std::string draw(const char* title) const {
        std::string svg =
            element(left_ + kPanelWidth / 2, kTop + kPanelHeight + 40, title, "middle");
        double ms = kLowestMs;
        while (ms <= highestMs_ * 1.0001) {
            svg += stroke(left_, y(ms), left_ + kPanelWidth, y(ms), "#ddd");
            svg += element(left_ - 8, y(ms) + 4, number(ms / 1000) + " s", "end");
            ms *= 10;
        }
        for (const Point& point : points_) {
            svg += stroke(x(point), kTop + kPanelHeight, x(point), kTop + kPanelHeight + 5, "#444");
            svg += element(x(point), kTop + kPanelHeight + 19, std::to_string(point.x), "middle");
        }
        svg += stroke(left_, kTop + kPanelHeight, left_ + kPanelWidth, kTop + kPanelHeight, "#444");
        for (const Curve& curve : kCurves)
            svg += drawCurve(curve);
        return svg;
    }

  private:
    double x(const Point& point) const {
        const double most = std::max(points_.back().x, points_.front().x + 1);
        constexpr double kInset = 12;
        return left_ + kInset +
               (kPanelWidth - 2 * kInset) * logPlace(point.x, points_.front().x, most);
    }
    double y(double ms) const {
        return kTop + kPanelHeight * (1 - logPlace(ms, kLowestMs, highestMs_));
    }

    /// Points that a phase did not come to its end at are left out.
    std::string drawCurve(const Curve& curve) const {
        std::string way;
        std::string dots;
        for (const Point& point : points_) {
            const Phase& phase = point.result.*curve.phase;
            if (!phase.ended)
                continue;
            const std::string px = number(x(point));
            const std::string py = number(y(static_cast<double>(phase.ms)));
            way.append(way.empty() ? "M" : " L").append(px).append(" ").append(py);
            dots.append("<circle cx=\"").append(px).append("\" cy=\"").append(py);
            dots.append("\" r=\"3.5\" fill=\"").append(curve.colour).append("\"/>\n");
        }
        if (way.empty())
            return {};
        return "<path d=\"" + way + "\" fill=\"none\" stroke=\"" + curve.colour +
               "\" stroke-width=\"2\"/>\n" + dots;
    }

    double left_;
    const std::vector<Point>& points_;
    double highestMs_;
};

double highestOf(const std::vector<Point>& points) {
    double most = 10 * kLowestMs;
    for (const Point& point : points)
        for (const Curve& curve : kCurves)
            while ((point.result.*curve.phase).ended &&
                   static_cast<double>((point.result.*curve.phase).ms) > most)
                most *= 10;
    return most;
}

}  // namespace

std::string plotSvg(const std::vector<Point>& byDiameter, const std::vector<Point>& byVlans) {
    const double highest = std::max(highestOf(byDiameter), highestOf(byVlans));
    std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + number(kWidth) +
                      "\" height=\"" + number(kHeight) +
                      "\" font-family=\"sans-serif\" font-size=\"12\">\n"
                      "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
    double at = kLeft;
    for (const Curve& curve : kCurves) {
        svg += "<rect x=\"" + number(at) + "\" y=\"16\" width=\"12\" height=\"12\" fill=\"" +
               curve.colour + "\"/>\n" + element(at + 18, 26, curve.name, "start");
        at += 80;
    }
    const Measurement& last = byVlans.back().result;
    svg += Panel(kLeft, byDiameter, highest).draw("switches on the longest way");
    svg += Panel(kLeft + kPanelWidth + kGap, byVlans, highest)
               .draw(("VLANs, " + std::to_string(last.diameter) + " switches on the longest way")
                         .c_str());
    return svg + "</svg>\n";
}

}  // namespace plan
