#include "foundation/property/external/convert.hpp"

#include "foundation/property/primitive.hpp"
#include "foundation/type/bad_cast.hpp"

namespace qel::property::external {

namespace {

[[noreturn]] void ThrowBadCast(object::Object const& object) {
    // No stream, which would swallow a lack of memory. An unknown name ends the message.
    std::string message = "Cannot set external property with a '";
    if (char const* const name = object::Object::TypeName(object.GetTypeNameId())) {
        message.append(name).append("'. Make sure to use the same type as the property");
    }
    throw type::BadCast(message);
}

template <class T>
T ValueOf(object::Object const& object) {
    if (object.Is<object::Primitive<T, object::Object>>()) {
        return object.As<object::Primitive<T, object::Object>>().Get();
    }
    if (object.Is<Primitive<T>>()) {
        return object.As<Primitive<T>>().Get();
    }
    ThrowBadCast(object);
}

}  // namespace

template <>
bool Convert<bool>(object::Object const& object) {
    return ValueOf<bool>(object);
}

template <>
std::uint16_t Convert<std::uint16_t>(object::Object const& object) {
    return ValueOf<std::uint16_t>(object);
}

template <>
std::uint32_t Convert<std::uint32_t>(object::Object const& object) {
    return ValueOf<std::uint32_t>(object);
}

template <>
double Convert<double>(object::Object const& object) {
    return ValueOf<double>(object);
}

template <>
std::string Convert<std::string>(object::Object const& object) {
    return ValueOf<std::string>(object);
}

template <>
std::chrono::milliseconds Convert<std::chrono::milliseconds>(object::Object const& object) {
    if (object.Is<object::UInt32>()) {
        return std::chrono::milliseconds(object.As<object::UInt32>().Get());
    }
    return ValueOf<std::chrono::milliseconds>(object);
}

}  // namespace qel::property::external
