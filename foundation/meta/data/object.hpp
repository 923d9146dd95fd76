#pragma once

#include <memory>
#include <string>
#include <utility>

#include "foundation/export.hpp"
#include "foundation/meta/data/geometry.hpp"
#include "foundation/object/object.hpp"

namespace qel::meta::data {

/// What every record of a tracked thing has: the tracker's id, by which records are ordered. Ids never change.
class QEL_FOUNDATION_EXPORT ObjectBase : public object::Object {
public:
    ~ObjectBase() override;
    ObjectBase& operator=(ObjectBase const&) = delete;

    /// The tracker's; an object has the same in all frames through which it is followed.
    unsigned int GetId() const { return id; }

    /// By the ids alone.
    friend bool operator<(ObjectBase const& left, ObjectBase const& right) { return left.id < right.id; }

protected:
    /// For the records of one kind, with the id of its type.
    ObjectBase(hash::MurmurThree32 const& type, unsigned int id) : Object(type), id(id) {}
    ObjectBase(ObjectBase const&) = default;

private:
    unsigned int const id;
};

/// The kind of tracked thing that the system knows: whatever a video tracker follows.
struct QEL_FOUNDATION_EXPORT ObjectType {
    /// The name of the type of its records.
    static constexpr char const* ClassTypeName = "qel.meta.data.Object";
};

namespace detail {

/// The record of one tracked object in one frame. Never changes after its construction.
template <class Type>
class QEL_FOUNDATION_EXPORT Object : public ObjectBase {
public:
    /// The name of the type, whose hash is the type id.
    static constexpr char const* ClassTypeName = Type::ClassTypeName;

    /// `classification` is the detector's class ("person"), empty when unknown; `confidence` runs from 0 to 1.
    explicit Object(unsigned int id, std::string classification = {}, Box box = {}, double confidence = 1.0)
        : ObjectBase(object::TypeIdOf<Object>, id),
          classification(std::move(classification)),
          box(box),
          confidence(confidence) {}
    Object(Object const&) = default;

    /// What the record was made with.
    std::string const& GetClassification() const { return classification; }
    Box const& GetBox() const { return box; }
    double GetConfidence() const { return confidence; }

    std::shared_ptr<object::Object> Clone() const override { return std::make_shared<Object>(*this); }

private:
    std::string classification;
    Box box;
    double confidence;
};

}  // namespace detail

extern template class detail::Object<ObjectType>;

/// The record of one tracked object in one frame.
using Object = detail::Object<ObjectType>;

}  // namespace qel::meta::data
