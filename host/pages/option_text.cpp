#include "host/pages/option_text.hpp"

#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>

namespace qel::host {

std::string ValueOf(CLI::Option const& option) {
    if (option.get_items_expected_max() == 0) {
        return {};
    }
    auto const type = option.get_type_name();  // with the text of a validator behind a colon
    auto const colon = type.find(':');
    return colon == std::string::npos ? type : type.substr(colon + 1);
}

std::vector<std::string> ChoicesOf(CLI::Option const& option) {
    std::vector<std::string> choices;
    auto const value = ValueOf(option);
    if (value.starts_with('{') && value.ends_with('}')) {
        boost::split(choices, value.substr(1, value.size() - 2), boost::is_any_of(","));
    }
    return choices;
}

std::vector<std::string> SpellingsOf(CLI::Option const& option) {
    std::vector<std::string> spellings;
    for (auto const& name : option.get_snames()) {
        spellings.push_back("-" + name);
    }
    for (auto const& name : option.get_lnames()) {
        spellings.push_back("--" + name);
    }
    return spellings;
}

}  // namespace qel::host
