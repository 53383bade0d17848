#ifndef TAVIX_PROGRAMS_TAVIXCTL_TREEDIFFERENCE_H
#define TAVIX_PROGRAMS_TAVIXCTL_TREEDIFFERENCE_H

#include <tavix/elements/Element.h>

#include <string>

// What `copy`, a tree that was written and read again, has lost of `value`: empty when nothing, else the first
// place, as in "the double at #/list/2 cannot be kept whole". Doubles may lose what stands behind the sixth
// decimal.
std::string differenceOf(Tavix::Element* value, Tavix::Element* copy);

#endif
