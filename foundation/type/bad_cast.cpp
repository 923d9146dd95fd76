#include "foundation/type/bad_cast.hpp"

namespace qel::type {

BadCast::~BadCast() = default;

}  // namespace qel::type
