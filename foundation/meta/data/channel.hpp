#pragma once

#include <memory>
#include <string>

#include "foundation/export.hpp"
#include "foundation/object/object.hpp"

namespace qel::meta::data {

/// The video channel that a frame or an event belongs to.
class QEL_FOUNDATION_EXPORT Channel : public object::Object {
public:
    /// The name of the type, whose hash is the type id.
    static constexpr char const* ClassTypeName = "qel.meta.data.Channel";

    /// The id is the host's; the name is for people and may be empty.
    Channel(unsigned int id, std::string name);
    Channel(Channel const&) = default;
    Channel(Channel&&) = default;
    Channel& operator=(Channel const&) = delete;
    ~Channel() override;

    /// What the channel was made with.
    unsigned int GetId() const { return id; }
    std::string const& GetName() const { return name; }

    std::shared_ptr<object::Object> Clone() const override;

private:
    unsigned int id;
    std::string name;
};

}  // namespace qel::meta::data
