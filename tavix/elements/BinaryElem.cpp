#include "tavix/elements/BinaryElem.h"

#include "tavix/elements/ElementVisitor.h"
#include "tavix/foundation/Check.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace Tavix {

namespace {

struct Block {
    Block() = default;
    Block(Block const&) = delete;
    Block& operator=(Block const&) = delete;
    ~Block() { std::free(data); }

    unsigned char* data = nullptr;
};

template <class Number>
Number readHostOrder(unsigned char const* data)
{
    Number number;
    std::memcpy(&number, data, sizeof number);
    return number;
}

} // namespace

BinaryElem::BinaryElem(unsigned char const* data, unsigned length, TvxResult& result)
    : _data(nullptr), _length(0)
{
    result = OPERATION_OK;
    if (!data)
        return;
    // malloc(0) may answer null, which would look like a lack of memory.
    auto* const copy = static_cast<unsigned char*>(std::malloc(length ? length : 1));
    if (!copy) {
        result = OPERATION_FAILED_OUT_OF_MEMORY;
        return;
    }
    std::memcpy(copy, data, length);
    _data = copy;
    _length = length;
}

BinaryElem::BinaryElem(unsigned char* data, unsigned length) : _data(data), _length(data ? length : 0)
{
}

BinaryElem::BinaryElem(SharedBytes const& value)
    : _data(reinterpret_cast<unsigned char const*>(value.data)), _length(static_cast<unsigned>(value.size)),
      _owner(value.owner)
{
    TAVIX_CHECK(_owner || !_data, "value.owner");
}

BinaryElem::~BinaryElem()
{
    if (!_owner)
        std::free(const_cast<unsigned char*>(_data));
}

SharedBytes BinaryElem::share() const
{
    if (!_owner && _data) {
        auto const block = std::make_shared<Block>();
        block->data = const_cast<unsigned char*>(_data);
        _owner = block;
    }
    return SharedBytes{_owner, reinterpret_cast<char const*>(_data), _length};
}

std::string BinaryElem::stringValue() const
{
    return std::string(reinterpret_cast<char const*>(_data), _length);
}

unsigned char const* BinaryElem::binaryValue() const
{
    return _data;
}

unsigned BinaryElem::binaryLength() const
{
    return _length;
}

int BinaryElem::intValue(TvxResult& result) const
{
    result = OPERATION_OK;
    switch (_length) {
    case 1:
        return _data[0];
    case 2:
        return readHostOrder<std::uint16_t>(_data);
    case 4:
        return readHostOrder<std::int32_t>(_data);
    default:
        result = OPERATION_FAILED_NOT_SUPPORTED;
        return -1;
    }
}

double BinaryElem::doubleValue(TvxResult& result) const
{
    result = OPERATION_OK;
    switch (_length) {
    case 4:
        return readHostOrder<float>(_data);
    case 8:
        return readHostOrder<double>(_data);
    default:
        result = OPERATION_FAILED_NOT_SUPPORTED;
        return 0.0;
    }
}

std::string BinaryElem::toString() const
{
    return ":bi " + stringValue();
}

Element* BinaryElem::clone() const
{
    if (_length >= kSharedLength) {
        try {
            return new BinaryElem(share());
        } catch (std::bad_alloc const&) {
            return nullptr;
        }
    }
    TvxResult emptyWithoutMemory;
    return new (std::nothrow) BinaryElem(_data, _length, emptyWithoutMemory);
}

void BinaryElem::accept(ElementVisitor* visitor)
{
    visitor->visitorAtBinaryElem(this);
}

bool BinaryElem::instanceOf(std::string const& type) const
{
    return type == _type || TerminalElem::instanceOf(type);
}

} // namespace Tavix
