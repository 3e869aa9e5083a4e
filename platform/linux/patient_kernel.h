// SPDX-License-Identifier: MIT
//
// A kernel that is not waited for without an end. Its network configuration has one lock, which
// others can hold for seconds (a driver that resets its hardware, a large change); a request sleeps
// until then, in the kernel, and nothing can wake it. Requests are made by a thread of their own,
// and who asks waits for a moment only, so that neither the locks that he holds nor the watchdog
// pay for it. What was asked for and not waited for is still done; until it is, all further
// requests fail at once.
//
// Errors: ETIMEDOUT in place of an answer, then an unknown part of a change was made, or will be.
// Locking: as Kernel: requests belong to one thread at a time, notifications to another.
#pragma once

#include <chrono>
#include <memory>

#include "platform/linux/kernel.h"

namespace platform {

/// More than the dearest request takes on a machine that is not in trouble, and much less than a
/// watchdog or a neighbour's leave time.
inline constexpr std::chrono::milliseconds kKernelPatience{250};

class PatientKernel final : public Kernel {
  public:
    /// @param kernel    kept until its last request has been answered, if that is later
    /// @param patience  how long a request is waited for
    explicit PatientKernel(std::shared_ptr<Kernel> kernel,
                           std::chrono::milliseconds patience = kKernelPatience);
    ~PatientKernel() override;
    PatientKernel(const PatientKernel&) = delete;
    PatientKernel& operator=(const PatientKernel&) = delete;
    PatientKernel(PatientKernel&&) = delete;
    PatientKernel& operator=(PatientKernel&&) = delete;

    KernelResult readLinks(std::vector<KernelLink>& links) override;
    KernelResult readVlans(std::vector<KernelVlans>& vlans) override;
    KernelResult changeVlans(u32 port, VlanChange change, const VlanBitmap& vlans) override;
    KernelResult setGuard(u32 port, bool on) override;
    KernelResult readGuards(std::span<const u32> ports, std::vector<u32>& guarded) override;
    int waitDescriptor() const override;
    void readEvents(std::vector<KernelEvent>& events) override;

  private:
    struct Request;
    class Worker;

    KernelResult ask(Request& request);

    const std::chrono::milliseconds patience_;
    std::shared_ptr<Worker> worker_;
};

}  // namespace platform
