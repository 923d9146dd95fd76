#include "foundation/object/bad_cast.hpp"

namespace qel::object {

BadCast::~BadCast() = default;

}  // namespace qel::object
