#pragma once

#include <cstdlib>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "foundation/meta/data/channel.hpp"
#include "foundation/meta/data/event.hpp"
#include "foundation/meta/data/object.hpp"
#include "foundation/meta/data/observable.hpp"
#include "foundation/meta/data/zone.hpp"
#include "foundation/meta/meta.hpp"

namespace qel::tests {

/// Writes items as texts, whole, for comparing and for reading when a comparison fails.
///
/// Event ids come from a counter of the process, so they are written as letters and numbers in the order in which this
/// describer first meets them: the first is A, the 27th A1.
class Describer {
public:
    std::string operator()(object::Object const* item) {
        std::ostringstream text;
        if (item == nullptr) {
            text << "null";
        } else if (item->Is<meta::data::Event>()) {
            Write(text, static_cast<meta::data::Event const&>(*item));
        } else if (item->Is<meta::data::Observable>()) {
            text << "record " << static_cast<meta::data::Observable const&>(*item).GetId();
        } else if (item->Is<meta::data::Object>()) {
            auto const& object = static_cast<meta::data::Object const&>(*item);
            auto const& box = object.GetBox();
            text << "object " << object.GetId() << ' ' << object.GetClassification() << '@' << object.GetConfidence()
                 << '(' << box.left << ' ' << box.top << ' ' << box.width << ' ' << box.height << ')';
        } else if (item->Is<meta::data::Zone>()) {
            auto const& zone = static_cast<meta::data::Zone const&>(*item);
            text << "zone " << zone.GetId() << ' ' << zone.GetName()
                 << (zone.GetShape() == meta::data::Zone::Shape::Line ? " line(" : "(");
            for (auto const& point : zone.GetPoints()) {
                text << point.x << ' ' << point.y << ';';
            }
            text << ')';
        } else if (item->Is<meta::data::Channel>()) {
            auto const& channel = static_cast<meta::data::Channel const&>(*item);
            text << "channel " << channel.GetId() << ' ' << channel.GetName();
        } else {
            text << "stranger";
        }
        return text.str();
    }
    template <class T>
    std::string operator()(std::shared_ptr<T> const& item) {
        return (*this)(item.get());
    }

    /// What a list or a frame holds, in order.
    template <class T>
    std::vector<std::string> Each(std::vector<std::shared_ptr<T>> const& items) {
        std::vector<std::string> texts;
        for (auto const& item : items) {
            texts.push_back((*this)(item));
        }
        return texts;
    }
    std::vector<std::string> Each(meta::Meta const& frame) {
        return Each(std::vector<std::shared_ptr<object::Object>>(frame.Begin(), frame.End()));
    }

    std::string NameOf(meta::data::Event const& event) {
        auto const number = numbers.try_emplace(event.GetId(), numbers.size()).first->second;
        std::string name(1, static_cast<char>('A' + number % 26));
        return number < 26 ? name : name + std::to_string(number / 26);
    }

private:
    void Write(std::ostream& text, meta::data::Event const& event) {
        text << NameOf(event) << ' ' << event.GetName() << '/' << event.GetType() << '/' << event.GetCategory() << ' '
             << Milliseconds(event.GetStart()) << ".." << Milliseconds(event.GetEnd())
             << (event.IsDuplicate() ? " duplicate" : "") << (event.IsInternal() ? " internal" : "")
             << (event.IsFinal() ? " final" : "") << " [";
        char const* separator = "";
        for (auto const& object : event.GetObjects()) {
            text << separator << (*this)(object);
            separator = ", ";
        }
        text << ']';
    }

    /// To the nanosecond.
    static std::string Milliseconds(meta::Timestamp time) {
        auto const nanoseconds = time.time_since_epoch().count();
        std::string text = (nanoseconds < 0 ? "-" : "") + std::to_string(std::abs(nanoseconds / 1'000'000));
        if (auto const rest = std::abs(nanoseconds % 1'000'000); rest != 0) {
            text += '.' + std::to_string(1'000'000 + rest).substr(1);
            text.erase(text.find_last_not_of('0') + 1);
        }
        return text;
    }

    std::map<unsigned int, std::size_t> numbers;
};

}  // namespace qel::tests
