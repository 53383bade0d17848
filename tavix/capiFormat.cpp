// Builds value trees from a format and a list of arguments. The reader is a plain descent over the format:
// one function for an element, one for each kind of bracket, one for a specifier. Every element is owned by
// the function that reads it until its container has taken it, so a failure anywhere releases the whole tree.

#include "tavix/foundation/Check.h"

#include <tavix/capi.h>

#include <cstdio>
#include <memory>

namespace {

struct FreeElement {
    void operator()(TvxElement* e) const { tvx_elem_free(e); }
};
using OwnedElement = std::unique_ptr<TvxElement, FreeElement>;

class FormatReader {
public:
    // Lends both.
    FormatReader(const char* format, va_list* args) : _at(format), _args(args) {}

    // Null on every failure, whose line is written.
    OwnedElement readElement();

private:
    OwnedElement readList();
    OwnedElement readMap();
    OwnedElement readSpecifier(char specifier);
    OwnedElement readText();
    OwnedElement readTaken();
    OwnedElement readCloned();

    const char* _at; // the next character of the format
    va_list* _args;  // stands at the argument of the next specifier
};

OwnedElement fail(const char* line)
{
    std::puts(line);
    return nullptr;
}

// The analyzer cannot follow a va_list through a pointer.
// NOLINTBEGIN(clang-analyzer-valist.Uninitialized)

OwnedElement FormatReader::readElement()
{
    const char first = *_at;
    if (first != '\0')
        ++_at;
    switch (first) {
    case '(':
        return readList();
    case '{':
        return readMap();
    default:
        return readSpecifier(first);
    }
}

OwnedElement FormatReader::readList()
{
    OwnedElement list(tvx_list_elem_new());
    while (list != nullptr && *_at != ')') {
        if (*_at == '\0')
            return fail("Format string lacks closing ')'");
        OwnedElement e = readElement();
        if (e == nullptr || !tvx_list_elem_append_child(list.get(), e.release()))
            return nullptr;
    }
    ++_at;
    return list;
}

OwnedElement FormatReader::readMap()
{
    OwnedElement map(tvx_map_elem_new());
    while (map != nullptr && *_at != '}') {
        if (*_at == '\0')
            return fail("Format string lacks closing '}'");
        const char* key = va_arg(*_args, const char*);
        if (key == nullptr)
            return fail("Null key for a map of the format string");
        OwnedElement e = readElement();
        if (e == nullptr || !tvx_map_elem_add_child(map.get(), key, e.release()))
            return nullptr;
    }
    ++_at;
    return map;
}

OwnedElement FormatReader::readSpecifier(char specifier)
{
    switch (specifier) {
    case 'i':
        return OwnedElement(tvx_integer_elem_new(va_arg(*_args, int)));
    case 'b':
        return OwnedElement(tvx_boolean_elem_new(va_arg(*_args, int)));
    case 'd':
        return OwnedElement(tvx_double_elem_new(va_arg(*_args, double)));
    case 's':
        return readText();
    case 'n':
        return OwnedElement(tvx_null_elem_new());
    case 'f':
        return OwnedElement(tvx_file_descriptor_elem_new(va_arg(*_args, int)));
    case 'e':
        return readTaken();
    case 'E':
        return readCloned();
    default:
        std::printf("Unknown element specifier '%c'\n", specifier);
        return nullptr;
    }
}

OwnedElement FormatReader::readText()
{
    const char* text = va_arg(*_args, const char*);
    return text == nullptr ? fail("Null text for element specifier 's'")
                           : OwnedElement(tvx_string_elem_new(text));
}

OwnedElement FormatReader::readTaken()
{
    TvxElement* e = va_arg(*_args, TvxElement*);
    return OwnedElement(e == nullptr ? tvx_null_elem_new() : e);
}

OwnedElement FormatReader::readCloned()
{
    TvxElement* e = va_arg(*_args, TvxElement*);
    return e == nullptr ? fail("Null element for element specifier 'E'") : OwnedElement(tvx_elem_clone(e));
}

// NOLINTEND(clang-analyzer-valist.Uninitialized)

} // namespace

TvxElement* tvx_elem_new(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    TvxElement* e = tvx_elem_new_va(format, args);
    va_end(args);
    return e;
}

TvxElement* tvx_elem_new_va(const char* format, va_list args)
{
    TAVIX_CHECK(format != nullptr, "fmt");
    // A parameter of this type may be an array that has become a pointer; only a copy has the right address.
    va_list own;
    va_copy(own, args);
    TvxElement* e = FormatReader(format, &own).readElement().release();
    va_end(own);
    return e;
}
