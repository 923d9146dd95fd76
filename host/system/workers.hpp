#pragma once

#include <cstddef>
#include <functional>
#include <memory>

namespace qel::host {

/// Threads that do a list of things together with the thread that asks them to.
class Workers {
public:
    /// So many threads, the asking one counted in: 1 starts none. Fewer when the system gives no more. The others take
    /// no signals.
    explicit Workers(std::size_t count);
    Workers(Workers const&) = delete;
    Workers& operator=(Workers const&) = delete;
    ~Workers();

    /// Calls `work` once with each number below `count`, in any order and at the same time, and returns when all is
    /// done. Everything before the call is seen by `work`, and what it has done is seen behind it. `work` throws
    /// nothing.
    void ForEach(std::size_t count, std::function<void(std::size_t)> const& work);

private:
    class Pool;

    std::unique_ptr<Pool> pool;
};

}  // namespace qel::host
