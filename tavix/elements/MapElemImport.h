#ifndef TAVIX_ELEMENTS_MAPELEMIMPORT_H
#define TAVIX_ELEMENTS_MAPELEMIMPORT_H

#include <tavix/elements/MapElem.h>
#include <tavix/foundation/PropertyMap.h>

namespace Tavix {

// The value of the entry at which `i` stands, as MapElem::create_raw makes it: a new element, the caller's. Null
// at the end, for PM_POINTER_TYPE, PM_MAX_TYPE and what is above, and when create_raw would answer null for a
// nested map.
TAVIX_API Element* getElemValue(PropertyMap::Iterator const& i);

} // namespace Tavix

#endif
