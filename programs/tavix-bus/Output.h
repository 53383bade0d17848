#ifndef TAVIX_PROGRAMS_TAVIX_BUS_OUTPUT_H
#define TAVIX_PROGRAMS_TAVIX_BUS_OUTPUT_H

#include "tavix-bus/OutputFd.h"

#include <tavix/PollLoopIf.h>
#include <tavix/foundation/SharedPtr.h>

#include <cstdio>
#include <string>
#include <string_view>

// Standard output or standard error that never makes the process wait: a broker serves on while nobody reads
// what it prints.
//
// While an object of this class lives, `stdout` (or `stderr`) is a stream of its own; all that the program and
// the library print goes through it. What the descriptor does not take at once is kept, in order, and written
// by the loop as room comes. What is beyond the limit is dropped in whole lines, and a line in their place
// says how many, once half of what is kept has been read. The descriptor itself stays as it is, for the
// processes that the broker starts.
class Output {
public:
    // stream: stdout or stderr. buffering: _IOLBF or _IONBF.
    Output(FILE*& stream, int buffering);
    // Gives the stream back, after writing what is taken without waiting.
    ~Output();
    Output(Output const&) = delete;
    Output& operator=(Output const&) = delete;

    // Shares the loop, which from now on writes what waits.
    void watch(SharedPtr<Tavix::PollLoopIf> const& loop);

private:
    static ssize_t takeText(void* output, char const* text, size_t size);
    static void flushCallback(void** source, void* output);

    void add(std::string_view text);
    void flush();
    bool writeWaiting();
    void sayLost();
    void startWatch();
    void stopWatch();

    FILE*& _stream;
    FILE* const _original;
    FILE* _replacement;
    const OutputFd _fd;
    const pid_t _owner; // a process that is forked from this one has copies of what waits here
    std::string _waiting;
    unsigned long _lost = 0; // lines, not yet said
    bool _cut = false;       // the beginning of the line in progress is lost
    SharedPtr<Tavix::PollLoopIf> _loop;
    void** _source = nullptr; // while something waits
};

#endif
