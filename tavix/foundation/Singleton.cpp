#include "tavix/foundation/Singleton.h"

namespace Ferrule {

std::mutex SingletonBase::_mutex;

} // namespace Ferrule
