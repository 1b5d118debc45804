#include "zel/resource.h"

namespace Zel {

// Out of line so that the vtable and type information live in the library.
Resource::~Resource() = default;

}  // namespace Zel
