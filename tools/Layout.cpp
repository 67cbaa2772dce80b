#include "tools/Commands.h"

namespace tool {
void layout(Context&, LayoutOptions const&) {}
} // namespace tool
