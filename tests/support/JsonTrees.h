#ifndef TAVIX_TESTS_SUPPORT_JSONTREES_H
#define TAVIX_TESTS_SUPPORT_JSONTREES_H

#include "tavix/elements/Element.h"

#include <nlohmann/json_fwd.hpp>

// Value trees from JSON files below tests/data. What JSON has no form for is an object with one key:
// {"$bytes": "b"}, {"$fd": 5}, {"$exception": "x"}, {"$double": "nan"}, and {"$nothing": 1} for a null pointer.
namespace JsonTrees {

nlohmann::json load(char const* file);

// The caller owns the tree.
Tavix::Element* make(nlohmann::json const& json);

} // namespace JsonTrees

#endif
