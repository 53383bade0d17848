#include "tavix/CSelectLoop.h"

namespace Tavix {

CSelectLoop::CSelectLoop(TvxPollLoopFunctions const* functions, void* loopContext)
    : _functions(functions), _loopContext(loopContext)
{
}

int CSelectLoop::newSource(int fd, void*** source)
{
    return _functions->new_source(fd, source, _loopContext);
}

int CSelectLoop::deleteSource(void** source)
{
    return _functions->delete_source(source);
}

int CSelectLoop::addSource(void** source, SourceCallback callback, void* context)
{
    return _functions->add_source(source, callback, context);
}

int CSelectLoop::removeSource(void** source)
{
    return _functions->remove_source(source);
}

int CSelectLoop::sourceAddWatch(void** source, unsigned watch)
{
    return _functions->add_watch(source, watch);
}

int CSelectLoop::sourceRemoveWatch(void** source, unsigned watch)
{
    return _functions->remove_watch(source, watch);
}

int CSelectLoop::sourceIsReadable(void** source, bool& readable)
{
    int answer = 0;
    const int rc = _functions->is_readable(source, &answer);
    readable = answer != 0;
    return rc;
}

int CSelectLoop::sourceIsWritable(void** source, bool& writable)
{
    int answer = 0;
    const int rc = _functions->is_writable(source, &answer);
    writable = answer != 0;
    return rc;
}

void CSelectLoop::iterate()
{
    _functions->iterate(_loopContext);
}

bool CSelectLoop::check()
{
    return _functions->check(_loopContext) != 0;
}

int CSelectLoop::getFileDescriptor(void** source)
{
    return _functions->get_file_descriptor(source);
}

} // namespace Tavix
