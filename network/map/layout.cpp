// SPDX-License-Identifier: MIT
#include "network/map/layout.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace network {

namespace {

using Distance = u16;
constexpr Distance kUnreached = std::numeric_limits<Distance>::max();

/// Cables on the shortest way from one switch to all others.
std::vector<Distance> distancesFrom(const Adjacency& neighbours, std::size_t start) {
    std::vector<Distance> distances(neighbours.size(), kUnreached);
    std::vector<std::size_t> reached = {start};
    distances[start] = 0;
    for (std::size_t next = 0; next < reached.size(); ++next)
        for (const std::size_t there : neighbours[reached[next]])
            if (distances[there] == kUnreached) {
                distances[there] = static_cast<Distance>(distances[reached[next]] + 1);
                reached.push_back(there);
            }
    return distances;
}

std::vector<std::vector<Distance>> distancesOf(const Adjacency& neighbours) {
    std::vector<std::vector<Distance>> all;
    Distance longest = 1;
    for (std::size_t i = 0; i < neighbours.size(); ++i) {
        all.push_back(distancesFrom(neighbours, i));
        for (const Distance each : all.back())
            if (each != kUnreached)
                longest = std::max(longest, each);
    }
    for (std::vector<Distance>& row : all)
        std::ranges::replace(row, kUnreached, static_cast<Distance>(longest + 1));
    return all;
}

/// Branches of a tree side by side, so that few cables have to cross each other later.
std::vector<std::size_t> depthFirst(const Adjacency& neighbours) {
    std::vector<std::size_t> order;
    std::vector<bool> seen(neighbours.size(), false);
    for (std::size_t root = 0; root < neighbours.size(); ++root) {
        std::vector<std::size_t> ahead = {root};
        while (!ahead.empty()) {
            const std::size_t here = ahead.back();
            ahead.pop_back();
            if (seen[here])
                continue;
            seen[here] = true;
            order.push_back(here);
            for (const std::size_t there : neighbours[here])
                ahead.push_back(there);
        }
    }
    return order;
}

std::vector<Place> circleOf(const Adjacency& neighbours) {
    const std::vector<std::size_t> order = depthFirst(neighbours);
    std::vector<Place> places(order.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        const double angle =
            2 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(order.size());
        places[order[i]] = {std::cos(angle), std::sin(angle)};
    }
    return places;
}

/// Where the others would have one of them.
Place pulled(const std::vector<Place>& places, const std::vector<Distance>& wanted,
             std::size_t at) {
    constexpr double kTiny = 1e-6;
    Place total;
    double weights = 0;
    for (std::size_t other = 0; other < places.size(); ++other) {
        if (wanted[other] == 0)
            continue;
        const double dx = places[at].x - places[other].x;
        const double dy = places[at].y - places[other].y;
        const double far = wanted[other];
        const double length = std::max(std::hypot(dx, dy), kTiny);
        const double weight = 1 / (far * far);
        total.x += weight * (places[other].x + far * dx / length);
        total.y += weight * (places[other].y + far * dy / length);
        weights += weight;
    }
    return weights == 0 ? places[at] : Place{total.x / weights, total.y / weights};
}

/// A few hundred rounds for networks that a person looks at; fewer where a round takes long.
std::size_t roundsFor(std::size_t count) {
    constexpr std::size_t kMost = 300;
    constexpr std::size_t kLeast = 20;
    constexpr std::size_t kPairs = 30'000'000;
    return std::clamp(kPairs / std::max<std::size_t>(count * count, 1), kLeast, kMost);
}

/// Turned so that the direction of the greatest spread is level.
void level(std::vector<Place>& places) {
    constexpr double kNearlyLevel = 0.25;
    Place middle;
    for (const Place& place : places) {
        middle.x += place.x / static_cast<double>(places.size());
        middle.y += place.y / static_cast<double>(places.size());
    }
    double xx = 0;
    double yy = 0;
    double xy = 0;
    for (Place& place : places) {
        place = {place.x - middle.x, place.y - middle.y};
        xx += place.x * place.x;
        yy += place.y * place.y;
        xy += place.x * place.y;
    }
    const double turn = -0.5 * std::atan2(2 * xy, xx - yy);
    for (Place& place : places)
        place = {place.x * std::cos(turn) - place.y * std::sin(turn),
                 place.x * std::sin(turn) + place.y * std::cos(turn)};
    const bool flat = std::ranges::all_of(
        places, [](const Place& place) { return std::abs(place.y) < kNearlyLevel; });
    for (Place& place : places)
        place.y = flat ? 0 : place.y;
}

}  // namespace

std::vector<Place> placesOf(const Adjacency& neighbours) {
    if (neighbours.size() < 2)
        return std::vector<Place>(neighbours.size());
    const std::vector<std::vector<Distance>> wanted = distancesOf(neighbours);
    std::vector<Place> places = circleOf(neighbours);
    for (std::size_t round = roundsFor(places.size()); round > 0; --round)
        for (std::size_t i = 0; i < places.size(); ++i)
            places[i] = pulled(places, wanted[i], i);
    level(places);
    return places;
}

}  // namespace network
