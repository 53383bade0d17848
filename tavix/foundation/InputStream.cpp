#include "tavix/foundation/InputStream.h"

namespace Ferrule {

InputStream::~InputStream() = default;

} // namespace Ferrule
