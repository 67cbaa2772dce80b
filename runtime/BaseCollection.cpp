#include "runtime/BaseCollection.h"

namespace Kor {

BaseCollection::~BaseCollection() = default;

} // namespace Kor
