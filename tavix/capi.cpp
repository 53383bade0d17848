// The flat element functions over single values. Each is a thin forward to the class operation; what is added
// is the refusal of nulls, the code that a caller may not want, and that memory running out ends in an
// answer.

#include "tavix/capiInternal.h"
#include "tavix/elements/BinaryElem.h"
#include "tavix/elements/BooleanElem.h"
#include "tavix/elements/DoubleElem.h"
#include "tavix/elements/ExceptionElem.h"
#include "tavix/elements/FileDescriptorElem.h"
#include "tavix/elements/IntegerElem.h"
#include "tavix/elements/NullElem.h"
#include "tavix/elements/StringElem.h"

#include <tavix/capi.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

using namespace Tavix;

namespace {

template <typename Class, typename... Arguments>
TvxElement* make(Arguments const&... arguments)
{
    return guarded<TvxElement*>(nullptr, [&] { return toFlat(new (std::nothrow) Class(arguments...)); });
}

struct Free {
    void operator()(void* block) const { std::free(block); }
};
using FormattedText = std::unique_ptr<char, Free>;

// Null when the text cannot be formatted.
FormattedText formatText(const char* format, va_list args)
{
    char* text = nullptr;
    if (format == nullptr || vasprintf(&text, format, args) < 0)
        return nullptr;
    return FormattedText(text);
}

template <typename Answer, typename Use>
Answer askText(TvxElement* e, TvxResult* result, Answer refusal, Use use)
{
    return ask(e, result, refusal, [&](Element const& element, TvxResult& code) {
        const std::string text = element.stringValue(code);
        return code == OPERATION_OK ? use(text, code) : refusal;
    });
}

} // namespace

Element* tvx_convert_to_cpp_element(_TvxElement* e)
{
    return toCpp(e);
}

_TvxElement* tvx_convert_to_tvx_element(Element* e)
{
    return toFlat(e);
}

const char* tvx_result_to_string(TvxResult result)
{
    static const char* const names[] = {
        "OPERATION_OK",
        "OPERATION_FAILED_NOT_SUPPORTED",
        "OPERATION_FAILED_NO_SUCH_CHILD",
        "OPERATION_INDEX_OUT_OF_BOUNDS",
        "OPERATION_FAILED_CHILD_ALREADY_EXISTS",
        "OPERATION_FAILED_OUT_OF_MEMORY",
    };
    const auto index = static_cast<unsigned>(result);
    return index < std::size(names) ? names[index] : "Unknown error";
}

TvxElement* tvx_integer_elem_new(int value)
{
    return make<IntegerElem>(value);
}

TvxElement* tvx_double_elem_new(double value)
{
    return make<DoubleElem>(value);
}

TvxElement* tvx_boolean_elem_new(int value)
{
    return make<BooleanElem>(value != 0);
}

TvxElement* tvx_null_elem_new(void)
{
    return make<NullElem>();
}

TvxElement* tvx_string_elem_new(const char* text)
{
    return text == nullptr ? nullptr : make<StringElem>(text);
}

TvxElement* tvx_string_elem_newf(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    TvxElement* e = tvx_string_elem_newvf(format, args);
    va_end(args);
    return e;
}

TvxElement* tvx_string_elem_newvf(const char* format, va_list args)
{
    return tvx_string_elem_new(formatText(format, args).get());
}

TvxElement* tvx_binary_elem_new(const unsigned char* data, unsigned length)
{
    TvxResult result = OPERATION_OK;
    std::unique_ptr<BinaryElem> e(new (std::nothrow) BinaryElem(data, length, result));
    return result == OPERATION_OK ? toFlat(e.release()) : nullptr;
}

TvxElement* tvx_exception_elem_new(const char* message, int code)
{
    return message == nullptr ? nullptr : make<ExceptionElem>(message, code);
}

TvxElement* tvx_exception_elem_newf(int code, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    TvxElement* e = tvx_exception_elem_newvf(code, format, args);
    va_end(args);
    return e;
}

TvxElement* tvx_exception_elem_newvf(int code, const char* format, va_list args)
{
    return tvx_exception_elem_new(formatText(format, args).get(), code);
}

TvxElement* tvx_file_descriptor_elem_new(int fd)
{
    return make<FileDescriptorElem>(fd, "", "", "");
}

void tvx_elem_free(TvxElement* e)
{
    delete toCpp(e);
}

TvxElement* tvx_elem_clone(TvxElement* e)
{
    return e == nullptr ? nullptr : guarded<TvxElement*>(nullptr, [&] { return toFlat(toCpp(e)->clone()); });
}

bool tvx_elem_is_exception(TvxElement* e)
{
    return e != nullptr && toCpp(e)->isException();
}

bool tvx_elem_instance_of(TvxElement* e, const char* type)
{
    return e != nullptr && type != nullptr && guarded(false, [&] { return toCpp(e)->instanceOf(type); });
}

int tvx_elem_get_num_children(TvxElement* e)
{
    return e == nullptr ? -1 : toCpp(e)->getNumChildren();
}

void tvx_elem_print(const char* name, TvxElement* e)
{
    tvx_elem_fprint(stdout, name, e);
}

void tvx_elem_fprint(FILE* stream, const char* name, TvxElement* e)
{
    if (stream == nullptr || name == nullptr || e == nullptr)
        return;
    guarded(0, [&] {
        toCpp(e)->print(stream, name);
        return 0;
    });
}

int tvx_elem_int_value(TvxElement* e, TvxResult* result)
{
    return ask(e, result, -1, [](Element const& element, TvxResult& code) { return element.intValue(code); });
}

int tvx_elem_exception_int_value(TvxElement* e, TvxResult* result)
{
    return tvx_elem_int_value(e, result);
}

double tvx_elem_double_value(TvxElement* e, TvxResult* result)
{
    return ask(e, result, -1.0,
               [](Element const& element, TvxResult& code) { return element.doubleValue(code); });
}

bool tvx_elem_boolean_value(TvxElement* e, TvxResult* result)
{
    return ask(e, result, false,
               [](Element const& element, TvxResult& code) { return element.booleanValue(code); });
}

const unsigned char* tvx_elem_binary_value(TvxElement* e, unsigned* length)
{
    if (length == nullptr)
        return nullptr;
    *length = e == nullptr ? 0 : toCpp(e)->binaryLength();
    return e == nullptr ? nullptr : toCpp(e)->binaryValue();
}

char* tvx_elem_strcpy_value(TvxElement* e, char* buffer, unsigned size, TvxResult* result)
{
    const bool usable = buffer != nullptr && size > 0;
    return askText<char*>(usable ? e : nullptr, result, nullptr, [=](std::string const& text, TvxResult&) {
        const std::size_t copied = std::min<std::size_t>(text.size(), size - 1);
        std::memcpy(buffer, text.data(), copied);
        buffer[copied] = '\0';
        return buffer;
    });
}

char* tvx_elem_strncpy_value(TvxElement* e, char* buffer, unsigned size, TvxResult* result)
{
    std::fprintf(stderr, "%s: don't call me!  I'm broken!\n", __func__);
    tvx_elem_strcpy_value(e, buffer, size, result);
    return buffer;
}

int tvx_elem_strcmp(TvxElement* e, const char* other, TvxResult* result)
{
    return askText(other == nullptr ? nullptr : e, result, -1,
                   [=](std::string const& text, TvxResult&) { return text.compare(other); });
}

int tvx_elem_strncmp(TvxElement* e, const char* other, unsigned n, TvxResult* result)
{
    return askText(other == nullptr ? nullptr : e, result, -1,
                   [=](std::string const& text, TvxResult&) { return std::strncmp(text.c_str(), other, n); });
}

char* tvx_elem_strdup_value(TvxElement* e, TvxResult* result)
{
    return askText<char*>(e, result, nullptr, [](std::string const& text, TvxResult& code) {
        char* copy = strdup(text.c_str());
        if (copy == nullptr)
            code = OPERATION_FAILED_OUT_OF_MEMORY;
        return copy;
    });
}
