#pragma once

#include <functional>

namespace talvo {

// Somewhere to run a task: a background thread for network waits, or the
// thread that owns the stores and the user interface for results.
class Executor {
  public:
    virtual ~Executor() = default;
    // Runs task later or at once, depending on the executor. False when the
    // task was refused (shutting down, too busy): it has not run and never
    // will. A task must not throw; an executor swallows what escapes one.
    virtual bool post(std::function<void()> task) = 0;
};

// Runs each task at once on the calling thread. With it as both the
// background and the owner executor, a service call finishes, completion
// callback included, before it returns (talvo-cli).
class InlineExecutor final : public Executor {
  public:
    bool post(std::function<void()> task) override {
        try {
            task();
        } catch (...) {
        }
        return true;
    }
};

}  // namespace talvo
