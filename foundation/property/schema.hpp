#pragma once

#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "foundation/export.hpp"
#include "foundation/property/context/direction.hpp"
#include "foundation/property/external.hpp"
#include "foundation/property/property.hpp"

namespace qel::property {

/// One setting that a class publishes: its name, type, default, range and description, and the way to the value in an
/// object of that class, for hosts that do not know the class.
///
/// Copies of a schema share the prototype. A published schema does not change and may be read from any thread. Schemas,
/// and what is made of them, call functions of the library that published them and must not outlive it.
class QEL_FOUNDATION_EXPORT Schema {
public:
    /// The arguments of the constructors of `External<T>`, where T is what the setter takes.
    template <class Host, class T, class Get>
    Schema(std::string name, std::type_identity_t<T> const& value, void (Host::*set)(T), Get get,
           std::string description)
        : Schema(Make<T>(std::move(name), value, set, get, std::move(description))) {}
    template <class Host, class T, class Get>
    Schema(std::string name, std::type_identity_t<T> const& value, void (Host::*set)(T), Get get,
           std::type_identity_t<T> minimum, std::type_identity_t<T> maximum, std::string description)
        : Schema(Make<T>(std::move(name), value, set, get, minimum, maximum, std::move(description))) {}
    template <class Host, class T, class Get>
    Schema(std::string name, std::type_identity_t<T> const& value, void (*set)(Host*, T), Get get,
           std::string description)
        : Schema(Make<T>(std::move(name), value, set, get, std::move(description))) {}
    template <class Host, class T, class Get>
    Schema(std::string name, void (*set)(Host*, T), Get get, std::string description)
        : Schema(Make<T>(std::move(name), set, get, std::move(description))) {}

    /// What hosts and rule files call the setting, and a sentence about it for people.
    std::string const& GetName() const { return prototype->GetName(); }
    std::string const& GetDescription() const { return prototype->GetDescription(); }
    /// The type name of the property, such as "qel.property.UInt16".
    std::string GetTypeName() const;

    /// What the value names by its id: "zone.polygon" or "zone.line" for a zone of that shape; empty for a value that
    /// stands for itself. Hosts let their users name such things instead of counting them.
    std::string const& GetReference() const { return reference; }
    /// For the class that publishes the setting, before anybody else sees the schema.
    void SetReference(std::string text) { reference = std::move(text); }

    /// The only texts that the setting takes; empty when it takes any, and for settings that are no texts.
    std::vector<std::string> const& GetChoices() const { return choices; }
    /// For the class that publishes the setting, whose setter refuses all other texts, before anybody else sees the
    /// schema.
    void SetChoices(std::vector<std::string> texts) { choices = std::move(texts); }

    /// The property as it was published; its value is the default. Never null, never bound.
    std::shared_ptr<Property const> const& GetPrototype() const { return prototype; }

    /// A copy of the prototype, not yet bound.
    std::shared_ptr<Property> MakeProperty() const;

    /// Ties a property that this schema made to an object of the class that published it. `External<T>` says what a
    /// target is. Throws `std::invalid_argument` for a null property, and what `Property::Bind` throws.
    void Bind(std::shared_ptr<Property> property, std::shared_ptr<void> target, context::Direction direction) const;

private:
    explicit Schema(std::shared_ptr<Property const> prototype) : prototype(std::move(prototype)) {}

    template <class T, class... Arguments>
    static std::shared_ptr<Property const> Make(Arguments&&... arguments) {
        static_assert(object::ValueType<T>,
                      "the setter of a property takes a bool, std::uint16_t, std::uint32_t, double, std::string or "
                      "std::chrono::milliseconds, by value");
        if constexpr (object::ValueType<T>) {
            // Not std::make_shared: its process-wide symbol would keep an unloaded plug-in in place.
            return std::shared_ptr<Property const>(new External<T>(std::forward<Arguments>(arguments)...));
        } else {
            return nullptr;
        }
    }

    std::shared_ptr<Property const> prototype;
    std::string reference;
    std::vector<std::string> choices;
};

}  // namespace qel::property
