#pragma once

#include <array>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>

#include "foundation/export.hpp"
#include "foundation/logging/level.hpp"
#include "foundation/logging/name.hpp"

namespace qel::logging {

/// Writes messages under a name; normally one static object per source file. A logger has no state besides its name
/// and may be used by any thread.
class QEL_FOUNDATION_EXPORT Logger {
public:
    /// The text of the name must outlive the logger.
    explicit Logger(Name const& name);
    ~Logger();

    /// What the filter is asked about.
    Name const& GetName() const { return name; }

    /// Writes the format with each placeholder %N% replaced by the text form of argument N, counted from 0: numbers in
    /// decimal, nothing for a null text, anything else as `operator<<` writes it. A placeholder may be repeated; one
    /// without an argument, and any other percent sign, stay as they are.
    ///
    /// The filter comes first: a message that is not wanted costs that question and allocates nothing. What filter,
    /// arguments and sink throw reaches the caller.
    template <class... Args>
    void Log(Level level, char const* format, Args&&... args) const {
        if (!Filter(GetName(), level)) {
            return;
        }
        std::array<std::function<void(std::string*)>, sizeof...(Args)> const arguments{
            [&args](std::string* out) { Append(*out, args); }...};
        auto line = std::make_unique<std::string>();
        Format(line.get(), GetName(), level, format, arguments.data(), arguments.size());
        Output(std::move(line), IsImportant(level));
    }

    /// Whether a message of this level from this logger is wanted.
    bool Filter(Name const& name, Level level) const;

    /// Replaces the contents of `out` by the finished line; each of the `count` argument functions appends its text to
    /// the string that it is given.
    void Format(std::string* out, Name const& name, Level level, char const* format,
                std::function<void(std::string*)> const* arguments, unsigned long count) const;

    /// Hands the finished line to the sink.
    void Output(std::unique_ptr<std::string> line, bool important) const;

private:
    template <class T>
    static void Append(std::string& out, T const& value) {
        if constexpr (std::is_convertible_v<T const&, char const*>) {
            if (char const* const text = value) {
                out += text;
            }
        } else if constexpr (std::is_convertible_v<T const&, std::string_view>) {
            out += std::string_view(value);
        } else if constexpr (std::is_integral_v<T> && !std::is_same_v<T, char>) {
            out += std::to_string(value);
        } else {
            std::ostringstream text;
            text.exceptions(std::ios_base::badbit);  // or it would swallow a lack of memory
            try {
                text << value;
            } catch (std::ios_base::failure const&) {
                if (text.good()) {
                    throw;
                }
                // The value itself has ended its text.
            }
            out += text.str();
        }
    }

    Name name;
};

}  // namespace qel::logging
