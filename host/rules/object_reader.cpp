#include "host/rules/object_reader.hpp"

#include <algorithm>
#include <tuple>
#include <unordered_set>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace qel::host {

using Kind = json::Value::Kind;

void MistakeCollector::Add(std::string key, json::Value const& value, Details details) {
    mistakes.push_back(Make(value.begin, std::move(key), std::string(document.GetSource(value)), std::move(details)));
}

void MistakeCollector::Add(std::string key, json::Member const& member, Details details) {
    mistakes.push_back(
        Make(member.begin, std::move(key), std::string(document.GetSource(member.value)), std::move(details)));
}

void MistakeCollector::AddMissing(std::string key, std::size_t offset, Details details) {
    mistakes.push_back(Make(offset, std::move(key), {}, std::move(details)));
}

void MistakeCollector::Warn(std::size_t offset, std::string key, std::string problem) {
    warnings.push_back(Make(offset, std::move(key), {}, {"warning: " + std::move(problem)}));
}

Mistake MistakeCollector::Make(std::size_t offset, std::string key, std::string value, Details details) const {
    auto const place = document.GetPlace(offset);
    return {file,
            place.line,
            place.column,
            std::move(key),
            std::move(value),
            std::move(details.problem),
            std::move(details.allowed),
            std::move(details.nearest)};
}

namespace {

std::vector<Mistake> InOrder(std::vector<Mistake> list) {
    std::stable_sort(list.begin(), list.end(), [](Mistake const& left, Mistake const& right) {
        return std::tie(left.line, left.column) < std::tie(right.line, right.column);
    });
    return list;
}

}  // namespace

std::vector<Mistake> MistakeCollector::TakeMistakes() { return InOrder(std::move(mistakes)); }

std::vector<Mistake> MistakeCollector::TakeWarnings() { return InOrder(std::move(warnings)); }

ObjectReader::ObjectReader(MistakeCollector& mistakes, json::Value const& value, std::string path)
    : mistakes(mistakes), value(value), path(std::move(path)) {
    if (!IsObject()) {
        mistakes.Add(this->path, value, {"wrong type", "an object, {...}"});
    }
    std::unordered_set<std::string_view> seen;
    for (auto const& member : value.members) {
        if (!seen.insert(member.key).second) {
            mistakes.Add(PathOf(member.key), member, {"repeated key", "each key once"});
        }
    }
}

json::Value const* ObjectReader::Find(std::string_view key) const {
    auto const found = std::find_if(value.members.begin(), value.members.end(),
                                    [&](json::Member const& member) { return member.key == key; });
    return found == value.members.end() ? nullptr : &found->value;
}

void ObjectReader::AllowOnly(std::vector<std::string> keys) const {
    std::sort(keys.begin(), keys.end());
    for (auto const& member : value.members) {
        if (!std::binary_search(keys.begin(), keys.end(), member.key)) {
            mistakes.Add(PathOf(member.key), member,
                         {"unknown key", fmt::format("{}", fmt::join(keys, ", ")), Nearest(member.key, keys)});
        }
    }
}

json::Value const* ObjectReader::Require(std::string_view key, std::string allowed) const {
    auto const* const found = Find(key);
    if (found == nullptr && IsObject()) {
        mistakes.AddMissing(PathOf(key), value.begin, {"missing", std::move(allowed)});
    }
    return found;
}

std::optional<std::uint64_t> ObjectReader::FindInteger(std::string_view key, std::uint64_t maximum) const {
    auto const* const found = Find(key);
    if (found == nullptr) {
        return std::nullopt;
    }
    if (found->kind == Kind::Integer && !found->negative && found->magnitude <= maximum) {
        return found->magnitude;
    }
    mistakes.Add(PathOf(key), *found,
                 {found->kind == Kind::Integer ? "out of range" : "wrong type",
                  fmt::format("a whole number from 0 to {}", maximum)});
    return std::nullopt;
}

std::optional<std::string> ObjectReader::FindText(std::string_view key) const {
    auto const* const found = Find(key);
    if (found == nullptr) {
        return std::nullopt;
    }
    if (found->kind == Kind::Text && !found->text.empty()) {
        return found->text;
    }
    mistakes.Add(PathOf(key), *found, {found->kind == Kind::Text ? "empty" : "wrong type", "a text that is not empty"});
    return std::nullopt;
}

std::vector<json::Value> const& ObjectReader::FindList(std::string_view key) const {
    static std::vector<json::Value> const none;
    auto const* const found = Find(key);
    if (found == nullptr) {
        return none;
    }
    if (found->kind != Kind::List) {
        mistakes.Add(PathOf(key), *found, {"wrong type", "a list, [...]"});
    }
    return found->items;
}

std::string ObjectReader::PathOf(std::string_view key) const {
    return path.empty() ? Excerpt(key) : fmt::format("{}.{}", path, Excerpt(key));
}

}  // namespace qel::host
