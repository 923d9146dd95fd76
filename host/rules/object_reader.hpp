#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/rules/json.hpp"
#include "host/rules/mistake.hpp"

namespace qel::host {

/// Collects what is wrong with one document.
class MistakeCollector {
public:
    MistakeCollector(std::string file, json::Document const& document) : file(std::move(file)), document(document) {}

    struct Details {
        std::string problem;
        std::string allowed = {};
        std::string nearest = {};
    };

    /// About a value.
    void Add(std::string key, json::Value const& value, Details details);
    /// About a key that should not be there.
    void Add(std::string key, json::Member const& member, Details details);
    /// About something that is missing from what begins here.
    void AddMissing(std::string key, std::size_t offset, Details details);

    void Warn(std::size_t offset, std::string key, std::string problem);

    /// In the order of the file.
    std::vector<Mistake> TakeMistakes();
    std::vector<Mistake> TakeWarnings();

    std::size_t GetLine(std::size_t offset) const { return document.GetPlace(offset).line; }

private:
    Mistake Make(std::size_t offset, std::string key, std::string value, Details details) const;

    std::string file;
    json::Document const& document;
    std::vector<Mistake> mistakes;
    std::vector<Mistake> warnings;
};

/// The members of one object of a document. Of a repeated key the first stays and each further one is a mistake.
class ObjectReader {
public:
    /// `path` is the way to the object, empty for the document itself. A value that is no object is a mistake and has
    /// no members.
    ObjectReader(MistakeCollector& mistakes, json::Value const& value, std::string path);

    /// Null when there is none.
    json::Value const* Find(std::string_view key) const;

    /// Every other key is a mistake.
    void AllowOnly(std::vector<std::string> keys) const;

    /// The member, whose absence is a mistake.
    json::Value const* Require(std::string_view key, std::string allowed) const;

    /// A whole number; nothing when the member is missing or, which is a mistake, is not one from 0 to `maximum`.
    std::optional<std::uint64_t> FindInteger(std::string_view key, std::uint64_t maximum) const;
    /// A text that is not empty, in the same way.
    std::optional<std::string> FindText(std::string_view key) const;
    /// The items of a list, in the same way; empty when there is nothing.
    std::vector<json::Value> const& FindList(std::string_view key) const;

    std::string PathOf(std::string_view key) const;
    std::string const& GetPath() const { return path; }
    std::size_t GetOffset() const { return value.begin; }
    bool IsObject() const { return value.kind == json::Value::Kind::Object; }
    MistakeCollector& GetMistakes() const { return mistakes; }

private:
    MistakeCollector& mistakes;
    json::Value const& value;
    std::string path;
};

}  // namespace qel::host
