// SPDX-License-Identifier: MIT
#include "platform/virtual/state/sockets.h"

#include <utility>

namespace scenario {

std::optional<SocketId> socketOf(int descriptor) {
    const int index = descriptor - kFirstDescriptor;
    if (index < 0 || index >= static_cast<int>(kSocketCount))
        return std::nullopt;
    return static_cast<SocketId>(index);
}

std::string_view nameOfDescriptor(int descriptor) {
    if (descriptor == kDebugConnection)
        return kSocketNames[static_cast<u32>(SocketId::Debug)];
    const auto id = socketOf(descriptor);
    return id ? kSocketNames[static_cast<u32>(*id)] : "?";
}

void WaitingAnswers::set(std::vector<u32> answers) {
    answers_ = std::move(answers);
    given_ = 0;
}

u32 WaitingAnswers::next() {
    if (answers_.size() == 1)
        return answers_.front();
    return given_ < answers_.size() ? answers_[given_++] : 0;
}

bool SocketState::readable(SocketId id) const {
    switch (id) {
        case SocketId::Mvrp:
        case SocketId::Gvrp:
            return !frames[static_cast<u32>(id)].empty();
        case SocketId::Route:
            return !routeMessages.empty();
        case SocketId::Debug:
            break;
    }
    return false;
}

}  // namespace scenario
