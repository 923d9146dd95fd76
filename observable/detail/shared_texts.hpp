#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "foundation/meta/data/event.hpp"
#include "observable/observable.hpp"

namespace qel::observable::detail {

/// The texts of the events that one producer makes: as long as they stay the same, all of them share one copy.
class SharedTexts {
public:
    using Texts = meta::data::Event::Texts;

    /// With the name of the producer. Valid until the next call.
    std::shared_ptr<Texts const> const& Get(Observable const& producer, std::string_view type,
                                            std::string_view category) {
        if (!texts || !producer.HasName(texts->name) || !IsOf(type, category)) {
            Make(producer.GetName(), type, category);
        }
        return texts;
    }
    std::shared_ptr<Texts const> const& Get(std::string_view name, std::string_view type, std::string_view category) {
        if (!texts || texts->name != name || !IsOf(type, category)) {
            Make(std::string(name), type, category);
        }
        return texts;
    }

private:
    bool IsOf(std::string_view type, std::string_view category) const {
        return texts->type == type && texts->category == category;
    }
    void Make(std::string name, std::string_view type, std::string_view category) {
        texts = std::make_shared<Texts const>(Texts{std::move(name), std::string(type), std::string(category)});
    }

    std::shared_ptr<Texts const> texts;
};

}  // namespace qel::observable::detail
