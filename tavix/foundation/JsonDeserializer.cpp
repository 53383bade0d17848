#include "tavix/foundation/JsonDeserializer.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <exception>
#include <iterator>
#include <new>
#include <nlohmann/json.hpp>

namespace json {

namespace {

using Ferrule::Deserializer;
using Ferrule::InputStream;

// The bytes of a stream one by one, read in blocks, with what it takes to tell line and column of a byte that
// was taken last or last but one: the reader looks one byte ahead.
class ByteSource {
public:
    explicit ByteSource(InputStream& input) : _input(input) {}

    bool atEnd()
    {
        if (_next == _count && !_ended) {
            _taken += static_cast<std::size_t>(_count);
            _next = 0;
            _count = std::clamp(_input.read(_block, kBlockSize), 0, static_cast<int>(kBlockSize));
            _ended = _count < kBlockSize;
        }
        return _next == _count;
    }

    char current() const { return _block[_next]; }

    void advance()
    {
        char const byte = _block[_next++];
        if (byte == '\n') {
            ++_line;
            _previousLineStart = _lineStart;
            _lineStart = taken();
        }
        if (byte != ' ' && byte != '\t' && byte != '\n' && byte != '\r')
            _blank = false;
        if (byte == '\0' && !_zeroByte)
            _zeroByte = taken();
    }

    // How many bytes were taken.
    std::size_t taken() const { return _taken + static_cast<std::size_t>(_next); }

    // Whether there was nothing but white space.
    bool isBlank() const { return _blank; }

    // The position of the first zero byte, counted from 1, 0 when there was none. The reader takes one
    // between two words for the end of the text.
    std::size_t zeroByte() const { return _zeroByte; }

    // "line L, column C" of the byte at `position`, counted from 1.
    std::string describe(std::size_t position) const
    {
        bool const onPreviousLine = position <= _lineStart && _line > 1;
        std::size_t const line = onPreviousLine ? _line - 1 : _line;
        std::size_t const column = position - (onPreviousLine ? _previousLineStart : _lineStart);
        return "line " + std::to_string(line) + ", column " + std::to_string(column);
    }

private:
    static constexpr int kBlockSize = 4096;

    InputStream& _input;
    char _block[kBlockSize];
    int _count = 0; // in the block
    int _next = 0;
    bool _ended = false;
    bool _blank = true;
    std::size_t _zeroByte = 0;
    std::size_t _taken = 0; // before the block
    std::size_t _line = 1;
    std::size_t _lineStart = 0; // bytes before it
    std::size_t _previousLineStart = 0;
};

// The source in the form that the reader takes: a pair of input iterators, the second one without a source.
class ByteIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = char const*;
    using reference = char;

    explicit ByteIterator(ByteSource* source) : _source(source) {}

    char operator*() const { return _source->current(); }
    ByteIterator& operator++()
    {
        _source->advance();
        return *this;
    }
    bool operator==(ByteIterator const& end) const { return (_source ? _source : end._source)->atEnd(); }
    bool operator!=(ByteIterator const& end) const { return !(*this == end); }

private:
    ByteSource* _source;
};

// What the reader says, without its mark in brackets, its own position and the quoted input, which may be
// long:
// "[...] parse error at line 1, column 2: syntax error ... - reason; last read: '...'".
std::string plainReason(nlohmann::json::exception const& error)
{
    constexpr int kNumberOutOfRange = 406;
    if (error.id == kNumberOutOfRange)
        return "the number is too large";
    std::string text = error.what();
    std::size_t const start = text.find(": ");
    if (start != std::string::npos)
        text.erase(0, start + 2);
    return text.substr(0, text.find("; last read: '"));
}

// Passes the reader's events on. Every event answers whether to go on.
class EventForwarder : public nlohmann::json::json_sax_t {
public:
    EventForwarder(WeakPtr<Deserializer> deserializer, WeakPtr<Deserializer::Handler> handler,
                   ByteSource const& source)
        : _deserializer(deserializer), _handler(handler), _source(source)
    {
    }

    std::string const& getError() const { return _error; }

    bool null() override
    {
        _handler->onNull(_deserializer, name());
        return done();
    }

    bool boolean(bool value) override
    {
        _handler->onBoolean(_deserializer, name(), value);
        return done();
    }

    bool number_integer(number_integer_t value) override
    {
        if (value >= INT_MIN && value <= INT_MAX)
            _handler->onInteger(_deserializer, name(), static_cast<int>(value));
        else
            _handler->onInteger64(_deserializer, name(), value);
        return done();
    }

    bool number_unsigned(number_unsigned_t value) override
    {
        if (value <= static_cast<number_unsigned_t>(INT64_MAX))
            return number_integer(static_cast<number_integer_t>(value));
        return number_float(static_cast<number_float_t>(value), std::string());
    }

    bool number_float(number_float_t value, string_t const&) override
    {
        _handler->onDouble(_deserializer, name(), value);
        return done();
    }

    bool string(string_t& value) override
    {
        if (!isWhole(value))
            return false;
        _handler->onString(_deserializer, name(), value.c_str());
        return done();
    }

    bool key(string_t& value) override
    {
        _name.swap(value);
        _hasName = true;
        return isWhole(_name);
    }

    bool start_object(std::size_t) override
    {
        _handler->objectStart(_deserializer, name());
        return done();
    }

    bool end_object() override
    {
        _handler->objectEnd(_deserializer);
        return done();
    }

    bool start_array(std::size_t) override
    {
        _handler->arrayStart(_deserializer, name());
        return done();
    }

    bool end_array() override
    {
        _handler->arrayEnd(_deserializer);
        return done();
    }

    bool binary(binary_t&) override { return fail("unexpected binary value"); } // JSON text has none

    bool parse_error(std::size_t position, std::string const&,
                     nlohmann::json::exception const& error) override
    {
        if (_source.isBlank())
            return failAt(position, "the input holds no value");
        if (_source.zeroByte())
            return endedWhole();
        return failAt(position, plainReason(error));
    }

    // Whether the text went on to the end of the input.
    bool endedWhole()
    {
        return _source.zeroByte() == 0 ||
               failAt(_source.zeroByte(), "there is a zero byte, which JSON forbids");
    }

private:
    // A key belongs to the one event behind it: inside an array and at the top there is none.
    char const* name() const { return _hasName ? _name.c_str() : nullptr; }

    bool done()
    {
        _hasName = false;
        char const* const error = _handler->getErrorString();
        return error ? fail(error) : true;
    }

    bool isWhole(string_t const& text)
    {
        if (text.find('\0') == std::string::npos)
            return true;
        return fail("the text holds a zero character (\\u0000), which cannot be passed on");
    }

    bool fail(char const* reason) { return failAt(_source.taken(), reason); }

    bool failAt(std::size_t position, std::string const& reason)
    {
        _error = _source.describe(position) + ": " + reason;
        return false;
    }

    WeakPtr<Deserializer> _deserializer;
    WeakPtr<Deserializer::Handler> _handler;
    ByteSource const& _source;
    std::string _name;
    bool _hasName = false;
    std::string _error;
};

} // namespace

JsonDeserializer::JsonDeserializer() = default;

JsonDeserializer::~JsonDeserializer() = default;

int JsonDeserializer::parse(WeakPtr<InputStream> input, WeakPtr<Handler> handler)
try {
    _error.clear();
    ByteSource source(*input);
    EventForwarder events(this, handler, source);
    if (nlohmann::json::sax_parse(ByteIterator(&source), ByteIterator(nullptr), &events) &&
        events.endedWhole())
        return kOk;
    _error = events.getError();
    return source.isBlank() ? kNoValue : kFailed;
} catch (std::bad_alloc const&) {
    _error = "out of memory";
    return kFailed;
} catch (...) {
    _error = "the stream or the handler threw an exception";
    return kFailed;
}

char const* JsonDeserializer::getErrorString() const
{
    return _error.empty() ? nullptr : _error.c_str();
}

} // namespace json
