# SPDX-License-Identifier: MIT
"""Where the switches of a network stand in its picture: distances on paper come near to the number
of cables between them (stress majorisation), and the longest way through the network lies level."""

import itertools
import math

ROUNDS = 300
NEARLY_LEVEL = 0.25


def hops(names, cables):
    """Cables on the shortest way between every two switches."""
    far = len(names)
    distance = {(a, b): 0 if a == b else far for a, b in itertools.product(names, names)}
    for a, b in cables:
        distance[a, b] = distance[b, a] = 1
    for via, a, b in itertools.product(names, names, names):
        distance[a, b] = min(distance[a, b], distance[a, via] + distance[via, b])
    return distance


def majorise(names, distance):
    """Each switch moves to where the others would have it, again and again, from a circle on."""
    places = {name: (math.cos(6.2832 * i / len(names)), math.sin(6.2832 * i / len(names)))
              for i, name in enumerate(names)}
    for _ in range(ROUNDS):
        for name in names:
            total_x = total_y = weights = 0.0
            for other in names:
                wanted = distance[name, other]
                if wanted == 0:
                    continue
                dx, dy = (here - there for here, there in zip(places[name], places[other]))
                length = math.hypot(dx, dy) or 1e-6
                weight = 1.0 / wanted ** 2
                total_x += weight * (places[other][0] + wanted * dx / length)
                total_y += weight * (places[other][1] + wanted * dy / length)
                weights += weight
            if weights:
                places[name] = (total_x / weights, total_y / weights)
    return places


def levelled(places):
    """Turned so that the direction of the greatest spread is level, the first switch to the left."""
    count = len(places)
    middle = [sum(place[i] for place in places.values()) / count for i in (0, 1)]
    moved = {name: (x - middle[0], y - middle[1]) for name, (x, y) in places.items()}
    xx = sum(x * x for x, _ in moved.values())
    yy = sum(y * y for _, y in moved.values())
    xy = sum(x * y for x, y in moved.values())
    turn = -0.5 * math.atan2(2 * xy, xx - yy)
    cos, sin = math.cos(turn), math.sin(turn)
    turned = {name: (x * cos - y * sin, x * sin + y * cos) for name, (x, y) in moved.items()}
    side = -1 if turned and next(iter(turned.values()))[0] > 0 else 1
    flat = 0 if all(abs(y) < NEARLY_LEVEL for _, y in turned.values()) else 1
    return {name: (side * x, flat * y) for name, (x, y) in turned.items()}


def place(names, cables):
    """@param cables  pairs of names. @return {name: (x, y)} in units of one cable's length"""
    names = list(names)
    if len(names) == 1:
        return {names[0]: (0.0, 0.0)}
    return levelled(majorise(names, hops(names, cables)))
