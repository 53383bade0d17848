#include "tavix/ObjectEventObserver.h"

#include <utility>

namespace Tavix {

ObjectEventObserver::~ObjectEventObserver() = default;

void ObjectEventObserver::event(std::string objName, std::string event, Element* data, std::string)
{
    this->event(std::move(objName), std::move(event), data);
}

} // namespace Tavix
