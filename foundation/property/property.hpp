#pragma once

#include <iosfwd>
#include <memory>
#include <string>

#include "foundation/export.hpp"
#include "foundation/object/object.hpp"
#include "foundation/property/context/direction.hpp"

namespace qel::property {

/// A named setting whose value is set and read as a dynamic object. Used by one thread at a time.
class QEL_FOUNDATION_EXPORT Property : public object::Object {
public:
    Property& operator=(Property const&) = delete;
    ~Property() override;

    /// What hosts and rule files call the setting, and a sentence about it for people.
    std::string const& GetName() const { return name; }
    std::string const& GetDescription() const { return description; }

    /// Sets the value from an object; the concrete class says which objects it takes and what it throws for others.
    /// After a failure the property, and the target that it is bound to, are what they were.
    virtual void Set(object::Object const& value) = 0;

    /// The value, in a new object of the value's own type.
    virtual std::shared_ptr<object::Object const> GetObject() const = 0;

    /// Writes a sentence, without an end, about the values that are accepted; nothing when all are.
    virtual void DescribeValidValues(std::ostream& stream) const = 0;

    /// Ties the property to the target whose setting it is, which it keeps alive; a null target unties it. Throws
    /// `std::logic_error` when the property has no accessors of a target. When reading from the target fails, the
    /// property is what it was.
    virtual void Bind(std::shared_ptr<void> target, context::Direction direction);

protected:
    /// For derived classes, with the id of their type.
    Property(hash::MurmurThree32 const& type, std::string name, std::string description);
    Property(Property const&) = default;

private:
    std::string const name;
    std::string const description;
};

}  // namespace qel::property
