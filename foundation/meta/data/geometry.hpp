#pragma once

namespace qel::meta::data {

/// A place in the picture as fractions of its width and height: (0, 0) is the top left corner, x grows to the right, y
/// downwards. Places outside the picture are outside 0 to 1.
struct Point {
    /// In widths and in heights of the picture.
    double x = 0;
    double y = 0;

    /// Exact, as numbers are compared.
    friend constexpr bool operator==(Point const&, Point const&) = default;
};

/// An upright rectangle in the same fractions.
struct Box {
    /// The upper left corner, and how far the box reaches to the right and downwards.
    double left = 0;
    double top = 0;
    double width = 0;
    double height = 0;

    /// Exact, as numbers are compared.
    friend constexpr bool operator==(Box const&, Box const&) = default;
};

}  // namespace qel::meta::data
