// SPDX-License-Identifier: MIT
#include "platform/host/corrections.h"

#include <atomic>

namespace platform {
namespace {

std::atomic<CorrectionBook*> gBook{nullptr};

}  // namespace

void installCorrections(CorrectionBook* book) {
    gBook.store(book, std::memory_order_release);
}

}  // namespace platform

CorrectionSet correctionsWanted() {
    const platform::CorrectionBook* book = platform::gBook.load(std::memory_order_acquire);
    return book == nullptr ? CorrectionSet{} : book->on();
}

void correctionActed(Correction which, u32 unit, u32 vid) {
    if (platform::CorrectionBook* book = platform::gBook.load(std::memory_order_acquire))
        book->acted(which, unit, vid);
}
