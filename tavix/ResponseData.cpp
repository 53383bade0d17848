#include "tavix/ResponseData.h"

namespace Tavix {

ResponseData::ResponseData(MapElem* receivedMap) : map(receivedMap)
{
}

ResponseData::ResponseData(ResponseData const& other)
    : map(other.map ? static_cast<MapElem*>(other.map->clone()) : nullptr)
{
}

ResponseData::~ResponseData()
{
    delete map;
}

} // namespace Tavix
