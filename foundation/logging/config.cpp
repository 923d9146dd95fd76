#include "foundation/logging/config.hpp"

#include <spdlog/logger.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <utility>

#include "foundation/logging/logger.hpp"

namespace qel::logging {

namespace {

/// A function that any thread may replace while others call it. The lock is held to take a share of the function only,
/// never during a call, nor when the last share of an old function goes.
template <class Signature>
class Replaceable {
public:
    using Function = std::function<Signature>;

    void Set(Function function) {
        auto next = function ? std::make_shared<Function const>(std::move(function)) : nullptr;
        std::lock_guard<std::mutex> const lock(mutex);
        current.swap(next);
        present.store(current != nullptr, std::memory_order_relaxed);
    }

    /// Null for the default, which costs no lock.
    std::shared_ptr<Function const> Get() {
        if (!present.load(std::memory_order_relaxed)) {
            return nullptr;
        }
        std::lock_guard<std::mutex> const lock(mutex);
        return current;
    }

private:
    std::atomic<bool> present = false;
    std::mutex mutex;
    std::shared_ptr<Function const> current;
};

// Neither these nor the default sink are ever destroyed: static objects log until the very end of the process.
auto& GetFilter() {
    static auto& filter = *new Replaceable<bool(Name const&, Level)>;
    return filter;
}

auto& GetSink() {
    static auto& sink = *new Replaceable<void(std::string const&, bool)>;
    return sink;
}

void WriteToStandardError(std::string const& line, bool important) {
    static auto& logger = *[] {
        auto made = std::make_unique<spdlog::logger>("qel", std::make_shared<spdlog::sinks::stderr_sink_mt>());
        made->set_pattern("[%Y-%m-%d %H:%M:%S.%e] [%l] %v");
        return made.release();
    }();
    logger.log(important ? spdlog::level::err : spdlog::level::info, spdlog::string_view_t(line));
}

}  // namespace

void SetFilter(std::function<bool(Name const&, Level)> filter) { GetFilter().Set(std::move(filter)); }

void SetSink(std::function<void(std::string const& line, bool important)> sink) { GetSink().Set(std::move(sink)); }

bool Logger::Filter(Name const& name, Level level) const {
    auto const filter = GetFilter().Get();
    return filter ? (*filter)(name, level) : IsImportant(level);
}

void Logger::Output(std::unique_ptr<std::string> line, bool important) const {
    auto const sink = GetSink().Get();
    sink ? (*sink)(*line, important) : WriteToStandardError(*line, important);
}

}  // namespace qel::logging
