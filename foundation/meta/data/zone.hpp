#pragma once

#include <memory>
#include <string>
#include <vector>

#include "foundation/export.hpp"
#include "foundation/meta/data/geometry.hpp"
#include "foundation/object/object.hpp"

namespace qel::meta::data {

/// A part of the picture that rules refer to. Ordered by id. Never changes after its construction; copies share the
/// name and the points.
class QEL_FOUNDATION_EXPORT Zone : public object::Object {
public:
    /// The name of the type, whose hash is the type id.
    static constexpr char const* ClassTypeName = "qel.meta.data.Zone";

    /// What the points are: the corners of an area, the last joined to the first, or an open line to be crossed.
    enum class Shape { Polygon, Line };

    /// The id is what rules name; the points are the corners in order, or those of the line.
    explicit Zone(unsigned int id, std::string name = {}, std::vector<Point> points = {}, Shape shape = Shape::Polygon);
    Zone(Zone const& other) = default;
    Zone& operator=(Zone const&) = delete;
    ~Zone() override;

    /// What the zone was made with.
    unsigned int GetId() const { return id; }
    std::string const& GetName() const { return body->name; }
    std::vector<Point> const& GetPoints() const { return body->points; }
    Shape GetShape() const { return body->shape; }

    /// By the ids alone.
    friend bool operator<(Zone const& left, Zone const& right) { return left.id < right.id; }

    std::shared_ptr<object::Object> Clone() const override;

private:
    struct Body {
        std::string name;
        std::vector<Point> points;
        Shape shape;
    };

    unsigned int const id;
    std::shared_ptr<Body const> body;
};

}  // namespace qel::meta::data
