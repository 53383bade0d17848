#include "tavix/StringLog.h"

#include "tavix/foundation/Check.h"

#include <algorithm>
#include <cstdio>
#include <new>

namespace Tavix {

StringLog::StringLog(int numEntries, int entrySize)
    : _numEntries(std::max(numEntries, 0)), _entrySize(std::max(entrySize, 2)), _first(-1), _last(-1),
      _theArray(new (std::nothrow) char*[_numEntries])
{
    TAVIX_CHECK(_theArray != nullptr, "_theArray != __null");
    for (int i = 0; i < _numEntries; ++i) {
        _theArray[i] = new (std::nothrow) char[_entrySize]();
        TAVIX_CHECK(_theArray[i] != nullptr, "_theArray[i] != __null");
    }
}

StringLog::~StringLog()
{
    for (int i = 0; i < _numEntries; ++i)
        delete[] _theArray[i];
    delete[] _theArray;
}

void StringLog::addEntry(char const* text)
{
    if (_numEntries == 0)
        return;
    std::lock_guard<std::mutex> guard(_mutex);
    if (_first == -1) {
        _last = 0;
        _first = 0;
    } else {
        _last = (_last + 1) % _numEntries;
        if (_last == _first)
            _first = (_last + 1) % _numEntries;
    }
    // The last byte of a line is never written and stays 0, so that a walk during this copy cannot run past
    // it.
    std::snprintf(_theArray[_last], static_cast<std::size_t>(_entrySize) - 1, "%s", text ? text : "");
}

void StringLog::clear()
{
    std::lock_guard<std::mutex> guard(_mutex);
    _first = -1;
}

void StringLog::begin(Iterator& iterator) const
{
    iterator._position = _first;
}

char const* StringLog::getNext(Iterator& iterator) const
{
    std::int32_t const position = iterator._position;
    if (position < 0 || position >= _numEntries)
        return nullptr;
    iterator._position = position == _last ? -1 : (position + 1) % _numEntries;
    return _theArray[position];
}

} // namespace Tavix
