#pragma once

#include <atomic>
#include <memory>

#include "foundation/export.hpp"
#include "foundation/object/object.hpp"

namespace qel::meta::data {

/// The record by which an event names the observable that produced it or passed it on.
///
/// The id may be changed while another thread reads it.
class QEL_FOUNDATION_EXPORT Observable : public object::Object {
public:
    /// The name of the type, whose hash is the type id.
    static constexpr char const* ClassTypeName = "qel.meta.data.Observable";

    /// A record of the observable with this id, or a copy that has an id of its own.
    explicit Observable(unsigned int id);
    Observable(Observable const& other);
    Observable& operator=(Observable const&) = delete;
    ~Observable() override;

    /// The id of the observable; `KeyChanges()` counts each change.
    unsigned int GetId() const { return id.load(std::memory_order_relaxed); }
    void SetId(unsigned int id);

    std::shared_ptr<object::Object> Clone() const override;

private:
    std::atomic<unsigned int> id;
};

}  // namespace qel::meta::data
