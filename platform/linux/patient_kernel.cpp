// SPDX-License-Identifier: MIT
#include "platform/linux/patient_kernel.h"

#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "platform/runtime/tasks/thread.h"

namespace platform {
namespace {

constexpr u32 kWorkerStack = 64 * 1024;

}  // namespace

/// What is asked, and room for what is answered.
struct PatientKernel::Request {
    enum class Kind : u8 { Links, Vlans, Change, SetGuard, Guards };

    Kind kind = Kind::Links;
    u32 port = 0;
    VlanChange change = VlanChange::Add;
    bool on = false;
    VlanBitmap changed{};
    std::vector<u32> ports;
    std::vector<KernelLink> links;
    std::vector<KernelVlans> vlans;

    KernelResult make(Kernel& kernel) {
        switch (kind) {
            case Kind::Links:
                return kernel.readLinks(links);
            case Kind::Vlans:
                return kernel.readVlans(vlans);
            case Kind::Change:
                return kernel.changeVlans(port, change, changed);
            case Kind::SetGuard:
                return kernel.setGuard(port, on);
            case Kind::Guards:
                break;
        }
        return kernel.readGuards(std::vector(ports), ports);
    }
};

/// Shared by the thread and who asks: it outlives whichever ends first.
class PatientKernel::Worker {
  public:
    explicit Worker(std::shared_ptr<Kernel> kernel) : kernel_(std::move(kernel)) {}

    Kernel& kernel() { return *kernel_; }

    KernelResult ask(Request& request, std::chrono::milliseconds patience) {
        std::unique_lock lock(mutex_);
        if (phase_ != Phase::Idle)
            return {ETIMEDOUT, "the kernel still has not answered the last request"};
        std::swap(request_, request);
        phase_ = Phase::Asked;
        changed_.notify_all();
        if (!changed_.wait_for(lock, patience, [this] { return phase_ == Phase::Answered; })) {
            abandoned_ = true;
            return {ETIMEDOUT,
                    "the kernel has not answered for " + std::to_string(patience.count()) + " ms"};
        }
        phase_ = Phase::Idle;
        std::swap(request_, request);
        return std::move(result_);
    }

    /// The thread's.
    void run() {
        std::unique_lock lock(mutex_);
        for (;;) {
            changed_.wait(lock, [this] { return ending_ || phase_ == Phase::Asked; });
            if (ending_)
                break;
            // Nobody else touches the request while it is not answered.
            lock.unlock();
            KernelResult result = request_.make(*kernel_);
            lock.lock();
            result_ = std::move(result);
            phase_ = std::exchange(abandoned_, false) ? Phase::Idle : Phase::Answered;
            changed_.notify_all();
        }
        ended_ = true;
        kernel_.reset();
        changed_.notify_all();
    }

    void end(std::chrono::milliseconds patience) {
        std::unique_lock lock(mutex_);
        ending_ = true;
        changed_.notify_all();
        changed_.wait_for(lock, patience, [this] { return ended_; });
    }

  private:
    enum class Phase : u8 { Idle, Asked, Answered };

    std::shared_ptr<Kernel> kernel_;
    std::mutex mutex_;
    std::condition_variable changed_;
    Phase phase_ = Phase::Idle;
    bool abandoned_ = false;
    bool ending_ = false;
    bool ended_ = false;
    Request request_;
    KernelResult result_;
};

PatientKernel::PatientKernel(std::shared_ptr<Kernel> kernel, std::chrono::milliseconds patience)
    : patience_(patience), worker_(std::make_shared<Worker>(std::move(kernel))) {
    if (!startThread("kernel", kWorkerStack, [worker = worker_] { worker->run(); }))
        throw std::runtime_error("there is no thread for requests to the kernel");
}

PatientKernel::~PatientKernel() {
    worker_->end(patience_);
}

KernelResult PatientKernel::ask(Request& request) {
    return worker_->ask(request, patience_);
}

KernelResult PatientKernel::readLinks(std::vector<KernelLink>& links) {
    Request request;
    request.kind = Request::Kind::Links;
    KernelResult result = ask(request);
    links = std::move(request.links);
    return result;
}

KernelResult PatientKernel::readVlans(std::vector<KernelVlans>& vlans) {
    Request request;
    request.kind = Request::Kind::Vlans;
    KernelResult result = ask(request);
    vlans = std::move(request.vlans);
    return result;
}

KernelResult PatientKernel::changeVlans(u32 port, VlanChange change, const VlanBitmap& vlans) {
    Request request;
    request.kind = Request::Kind::Change;
    request.port = port;
    request.change = change;
    request.changed = vlans;
    return ask(request);
}

KernelResult PatientKernel::setGuard(u32 port, bool on) {
    Request request;
    request.kind = Request::Kind::SetGuard;
    request.port = port;
    request.on = on;
    return ask(request);
}

KernelResult PatientKernel::readGuards(std::span<const u32> ports, std::vector<u32>& guarded) {
    Request request;
    request.kind = Request::Kind::Guards;
    request.ports.assign(ports.begin(), ports.end());
    KernelResult result = ask(request);
    guarded = std::move(request.ports);
    if (!result)
        guarded.clear();
    return result;
}

int PatientKernel::waitDescriptor() const {
    return worker_->kernel().waitDescriptor();
}

void PatientKernel::readEvents(std::vector<KernelEvent>& events) {
    worker_->kernel().readEvents(events);
}

}  // namespace platform
