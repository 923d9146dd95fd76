#pragma once

#include "foundation/meta/elapsed.hpp"

namespace qel::observable::detail {

using meta::Elapsed;

}  // namespace qel::observable::detail
