#pragma once

#include <memory>

#include "foundation/export.hpp"
#include "foundation/hash/murmur_three_32.hpp"

namespace qel::object {

/// The type-name text that a dynamic class publishes as its `ClassTypeName`.
template <class T>
constexpr char const* TypeNameOf() {
    static_assert(
        requires { static_cast<char const*>(T::ClassTypeName); },
        "a dynamic class publishes its type name as static constexpr char const* ClassTypeName");
    return T::ClassTypeName;
}

/// The type id of a dynamic class, computed by the compiler.
template <class T>
inline constexpr hash::MurmurThree32 TypeIdOf = hash::MurmurThree32::MakeData(TypeNameOf<T>());

/// The base of everything that is typed at run time: the items of a frame and the values of properties.
///
/// An object carries the hash of its type-name text. Type tests and checked casts compare these ids and never the
/// compiler's run-time type information, so libraries that were built apart agree on types. The id never changes; type
/// tests may run on any thread.
class QEL_FOUNDATION_EXPORT Object : public std::enable_shared_from_this<Object> {
public:
    virtual ~Object();

    /// The hash of the type name.
    hash::MurmurThree32 const& GetTypeNameId() const { return type; }

    /// Whether this is a T, by the ids alone; a base class of its class is another type.
    template <class T>
    bool Is() const {
        return type == TypeIdOf<T>;
    }

    /// This object as a T; throws `BadCast` with both type names when it is not one.
    template <class T>
    T& As() {
        RequireType(TypeIdOf<T>, TypeNameOf<T>());
        return static_cast<T&>(*this);
    }
    template <class T>
    T const& As() const {
        RequireType(TypeIdOf<T>, TypeNameOf<T>());
        return static_cast<T const&>(*this);
    }

    /// A new shared copy of the whole object.
    virtual std::shared_ptr<Object> Clone() const = 0;

    /// The name behind a type id, or null when nobody has made it known. The text lives as long as the process.
    static char const* TypeName(hash::MurmurThree32 const& type);

protected:
    /// For derived classes, with the id of their type; a copy has the type, but an owner of its own.
    explicit Object(hash::MurmurThree32 const& type) : type(type) {}
    Object(Object const& other) : std::enable_shared_from_this<Object>(), type(other.type) {}
    /// An object stays what it was made as: an assignment changes the values of derived classes only.
    Object& operator=(Object const&) noexcept { return *this; }

private:
    void RequireType(hash::MurmurThree32 const& wanted, char const* wantedName) const {
        if (type != wanted) {
            ThrowBadCast(wantedName);
        }
    }
    [[noreturn]] void ThrowBadCast(char const* wantedName) const;

    hash::MurmurThree32 const type;
};

/// Makes a type name known to `Object::TypeName`. The text is copied; of two names with one id the first stays, for
/// ever. May be called from any thread. Throws `std::invalid_argument` for a null pointer.
QEL_FOUNDATION_EXPORT void RegisterTypeName(char const* name);

}  // namespace qel::object
