#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "foundation/logging/config.hpp"
#include "foundation/logging/level.hpp"
#include "foundation/logging/name.hpp"

namespace qel::tests {

/// Takes every log line of the process, of whatever level, for as long as this object lives.
class LogCapture {
public:
    /// `onLine` is called with each line, once it has been kept.
    explicit LogCapture(std::function<void(std::string const&)> onLine = {}) : onLine(std::move(onLine)) {
        logging::SetFilter([](logging::Name const& name, logging::Level level) {
            // The sink is called next on this thread, if at all.
            Origin() = std::string(name.GetText()) + " " + std::to_string(static_cast<unsigned int>(level));
            return true;
        });
        logging::SetSink([this](std::string const& line, bool important) {
            std::string const text = Origin() + (important ? " important: " : ": ") + line;
            {
                std::lock_guard<std::mutex> const lock(mutex);
                lines.push_back(text);
            }
            if (this->onLine) {
                this->onLine(text);
            }
        });
    }
    ~LogCapture() {
        logging::SetSink({});
        logging::SetFilter({});
    }

    LogCapture(LogCapture const&) = delete;
    LogCapture& operator=(LogCapture const&) = delete;

    /// Every line so far as "qel.observable.Graph 4: the text", and forgets them. "important" stands behind the level
    /// where the output is told so.
    std::vector<std::string> Take() {
        std::lock_guard<std::mutex> const lock(mutex);
        return std::exchange(lines, {});
    }

private:
    static std::string& Origin() {
        thread_local std::string origin;
        return origin;
    }

    std::function<void(std::string const&)> onLine;
    std::mutex mutex;
    std::vector<std::string> lines;
};

}  // namespace qel::tests
