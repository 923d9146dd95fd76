#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "foundation/meta/data/event.hpp"

namespace qel::observable::detail {

/// The texts of the events that one producer makes: as long as they stay the same, all of them share one copy.
class SharedTexts {
public:
    /// Valid until the next call.
    std::shared_ptr<meta::data::Event::Texts const> const& Get(std::string_view name, std::string_view type,
                                                               std::string_view category) {
        if (!texts || texts->name != name || texts->type != type || texts->category != category) {
            using Texts = meta::data::Event::Texts;
            texts = std::make_shared<Texts const>(Texts{std::string(name), std::string(type), std::string(category)});
        }
        return texts;
    }

private:
    std::shared_ptr<meta::data::Event::Texts const> texts;
};

}  // namespace qel::observable::detail
