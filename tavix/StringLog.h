#ifndef TAVIX_STRINGLOG_H
#define TAVIX_STRINGLOG_H

#include <tavix/foundation/Export.h>

#include <atomic>
#include <cstdint>
#include <mutex>

namespace Tavix {

// A ring of short text lines; a new line takes the place of the oldest. Lines are added on any thread. A walk
// takes no lock: it may meet a line that is just being replaced, and then sees a mixture, but always a
// terminated text.
class TAVIX_API StringLog {
public:
    // A position in the ring.
    class Iterator {
    private:
        friend class StringLog;
        std::int32_t _position = -1; // -1 is the end
    };

    // `entrySize` is the bytes per line, of which two serve as terminators: entrySize - 2 characters survive.
    // All memory is taken here; when there is none the process stops. Without entries the ring stays empty.
    StringLog(int numEntries, int entrySize);
    ~StringLog();
    StringLog(StringLog const&) = delete;
    StringLog& operator=(StringLog const&) = delete;

    // Copies `text`; null counts as empty.
    void addEntry(char const* text);
    void clear();

    // Sets the iterator to the oldest line.
    void begin(Iterator& iterator) const;

    // Lends the line at the iterator and moves on; null at the end.
    char const* getNext(Iterator& iterator) const;

private:
    // Constant after construction.
    std::int32_t _numEntries;
    std::int32_t _entrySize;

    // The oldest and the newest line, written under _mutex; _first is -1 while the ring is empty.
    std::atomic<std::int32_t> _first;
    std::atomic<std::int32_t> _last;

    char** _theArray;
    std::mutex _mutex;
};

} // namespace Tavix

#endif
