#include "host/stream/timestamp.hpp"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <system_error>

#include <fmt/format.h>

namespace qel::host {

namespace {

/// Takes parts off the front of a text; after a part that is missing nothing more is taken.
class Scanner {
public:
    explicit Scanner(std::string_view text) : text(text) {}

    unsigned int Number(std::size_t digits) {
        unsigned int number = 0;
        for (; digits > 0; --digits) {
            number = number * 10 + Digit();
        }
        return number;
    }

    /// One of these characters; the one that was found.
    char One(std::string_view of) {
        if (text.empty() || of.find(text.front()) == std::string_view::npos) {
            failed = true;
            text = {};
            return '\0';
        }
        char const found = text.front();
        text.remove_prefix(1);
        return found;
    }

    /// The digits behind a decimal point as a number of nanoseconds, when there is one.
    std::int64_t Fraction() {
        if (text.empty() || text.front() != '.') {
            return 0;
        }
        text.remove_prefix(1);
        std::int64_t nanoseconds = Digit() * std::int64_t{100'000'000};
        for (std::int64_t unit = 10'000'000; !text.empty() && text.front() >= '0' && text.front() <= '9'; unit /= 10) {
            nanoseconds += Digit() * unit;
        }
        return nanoseconds;
    }

    bool Finished() const { return !failed && text.empty(); }

private:
    unsigned int Digit() { return static_cast<unsigned int>(std::max(One("0123456789") - '0', 0)); }

    std::string_view text;
    bool failed = false;
};

__extension__ typedef __int128 Wide;

}  // namespace

std::optional<meta::Timestamp> ParseTimestamp(std::string_view text) {
    using namespace std::chrono;
    Scanner scanner(text);
    year const inYear(static_cast<int>(scanner.Number(4)));
    scanner.One("-");
    month const inMonth(scanner.Number(2));
    scanner.One("-");
    year_month_day const date(inYear, inMonth, day(scanner.Number(2)));
    scanner.One("Tt ");
    unsigned int const hour = scanner.Number(2);
    scanner.One(":");
    unsigned int const minute = scanner.Number(2);
    scanner.One(":");
    unsigned int const second = scanner.Number(2);
    std::int64_t const fraction = scanner.Fraction();
    char const zone = scanner.One("Zz+-");
    unsigned int offsetHour = 0;
    unsigned int offsetMinute = 0;
    if (zone == '+' || zone == '-') {
        offsetHour = scanner.Number(2);
        scanner.One(":");
        offsetMinute = scanner.Number(2);
    }
    if (!scanner.Finished() || !date.ok() || hour > 23 || minute > 59 || second > 60 || offsetHour > 23 ||
        offsetMinute > 59) {
        return std::nullopt;
    }
    int const offset = static_cast<int>(offsetHour * 60 + offsetMinute) * (zone == '-' ? -1 : 1);
    seconds const whole =
        sys_days(date).time_since_epoch() + hours(hour) + minutes(static_cast<int>(minute) - offset) + seconds(second);
    Wide const nanosecondCount = Wide(whole.count()) * 1'000'000'000 + fraction;
    if (nanosecondCount < std::numeric_limits<std::int64_t>::min() ||
        nanosecondCount > std::numeric_limits<std::int64_t>::max()) {
        return std::nullopt;
    }
    return meta::Timestamp(nanoseconds(static_cast<std::int64_t>(nanosecondCount)));
}

std::optional<meta::Timestamp> ParseTimeOrNanoseconds(std::string_view text) {
    std::int64_t nanoseconds = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), nanoseconds);
    if (error == std::errc() && end == text.data() + text.size()) {
        return meta::Timestamp(std::chrono::nanoseconds(nanoseconds));
    }
    return ParseTimestamp(text);
}

std::string FormatTimestamp(meta::Timestamp time) {
    using namespace std::chrono;
    auto const cut = floor<milliseconds>(time);
    auto const date = floor<days>(cut);
    year_month_day const calendar(date);
    hh_mm_ss const clock(cut - date);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}Z", static_cast<int>(calendar.year()),
                       static_cast<unsigned int>(calendar.month()), static_cast<unsigned int>(calendar.day()),
                       clock.hours().count(), clock.minutes().count(), clock.seconds().count(),
                       clock.subseconds().count());
}

}  // namespace qel::host
