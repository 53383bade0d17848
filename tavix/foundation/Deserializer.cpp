#include "tavix/foundation/Deserializer.h"

namespace Ferrule {

Deserializer::Handler::~Handler() = default;

char const* Deserializer::Handler::getErrorString() const
{
    return nullptr;
}

Deserializer::~Deserializer() = default;

} // namespace Ferrule
