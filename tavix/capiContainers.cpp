// The flat functions over lists, maps and iterators. A child that is passed in is taken in every case, so
// each function holds it in a local owner until the container has it.

#include "tavix/capiInternal.h"
#include "tavix/elements/ElementIterator.h"
#include "tavix/elements/ListElem.h"
#include "tavix/elements/MapElem.h"

#include <tavix/capi.h>

#include <string>

using namespace Tavix;

// The name is kept because the caller borrows it as a plain text. It is empty at the end.
struct TvxIterator {
    std::unique_ptr<ElementIterator> iterator;
    std::string name;
};

namespace {

// A list's iterator has a name at every position, also past the end, which only hasNext() tells.
void storeName(TvxIterator& iterator)
{
    if (iterator.iterator->hasNext())
        iterator.name = iterator.iterator->nextName();
    else
        iterator.name.clear();
}

} // namespace

TvxElement* tvx_list_elem_new(void)
{
    return toFlat(new (std::nothrow) ListElem());
}

TvxElement* tvx_map_elem_new(void)
{
    return toFlat(new (std::nothrow) MapElem());
}

int tvx_list_elem_add_child(TvxElement* list, unsigned index, TvxElement* child)
{
    std::unique_ptr<Element> owned(toCpp(child));
    if (list == nullptr)
        return 0;
    return guarded(0, [&] { return toCpp(list)->addChild(index, owned.release()) == OPERATION_OK ? 1 : 0; });
}

int tvx_list_elem_append_child(TvxElement* list, TvxElement* child)
{
    return tvx_list_elem_add_child(list, static_cast<unsigned>(tvx_list_elem_get_length(list)), child);
}

TvxElement* tvx_list_elem_get_child(TvxElement* list, unsigned index)
{
    if (list == nullptr)
        return nullptr;
    return guarded<TvxElement*>(nullptr, [&] { return toFlat(toCpp(list)->getChild(index)); });
}

TvxElement* tvx_list_elem_remove_child(TvxElement* list, unsigned index, TvxResult* result)
{
    return ask<TvxElement*>(list, result, nullptr, [=](Element& element, TvxResult& code) {
        return toFlat(element.removeChild(index, code));
    });
}

TvxResult tvx_list_elem_remove_children(TvxElement* list)
{
    return list == nullptr ? OPERATION_FAILED_NOT_SUPPORTED : toCpp(list)->removeChildren();
}

int tvx_list_elem_get_length(TvxElement* list)
{
    return tvx_elem_get_num_children(list);
}

int tvx_map_elem_add_child(TvxElement* map, const char* name, TvxElement* child)
{
    std::unique_ptr<Element> owned(toCpp(child));
    if (map == nullptr || name == nullptr)
        return 0;
    return guarded(0, [&] {
        const std::string key(name);
        return toCpp(map)->addChild(key, owned.release()) == OPERATION_OK ? 1 : 0;
    });
}

TvxElement* tvx_map_elem_get_child(TvxElement* map, const char* name)
{
    if (map == nullptr || name == nullptr)
        return nullptr;
    return guarded<TvxElement*>(nullptr, [&] { return toFlat(toCpp(map)->getChild(name)); });
}

bool tvx_map_elem_has_child(TvxElement* map, const char* name)
{
    return map != nullptr && name != nullptr && guarded(false, [&] { return toCpp(map)->hasChild(name); });
}

TvxElement* tvx_map_elem_remove_child(TvxElement* map, const char* name, TvxResult* result)
{
    return ask<TvxElement*>(name == nullptr ? nullptr : map, result, nullptr,
                            [=](Element& element, TvxResult& code) {
                                return toFlat(element.removeChild(std::string(name), code));
                            });
}

TvxIterator* tvx_iterator_new(TvxElement* e)
{
    if (e == nullptr)
        return nullptr;
    std::unique_ptr<TvxIterator> iterator(new (std::nothrow) TvxIterator());
    if (iterator == nullptr)
        return nullptr;
    return guarded<TvxIterator*>(nullptr, [&]() -> TvxIterator* {
        iterator->iterator.reset(toCpp(e)->iterator());
        if (iterator->iterator == nullptr)
            return nullptr;
        storeName(*iterator);
        return iterator.release();
    });
}

int tvx_iterator_last(TvxIterator* iterator)
{
    return iterator == nullptr || iterator->name.empty() ? 1 : 0;
}

const char* tvx_iterator_deref(TvxIterator* iterator)
{
    return iterator == nullptr ? nullptr : iterator->name.c_str();
}

int tvx_iterator_next(TvxIterator* iterator)
{
    if (iterator == nullptr || !iterator->iterator->hasNext())
        return 0;
    return guarded(0, [&] {
        Element const* child = iterator->iterator->next();
        storeName(*iterator);
        return child != nullptr ? 1 : 0;
    });
}

void tvx_iterator_free(TvxIterator* iterator)
{
    delete iterator;
}
