#include "tavix/foundation/FileInputStream.h"

#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace Ferrule {

FileInputStream::FileInputStream(FILE* file, bool owned) : _file(file), _owned(owned), _failed(false)
{
    if (!file)
        fail(EBADF);
}

FileInputStream::FileInputStream(int descriptor)
    : _file(fdopen(descriptor, "r")), _owned(true), _failed(false)
{
    if (_file)
        return;
    fail(errno);
    close(descriptor);
}

FileInputStream::~FileInputStream()
{
    if (_file && _owned)
        std::fclose(_file);
}

void FileInputStream::setNonBlocking()
{
    if (!_file)
        return;
    int const descriptor = fileno(_file);
    int const flags = fcntl(descriptor, F_GETFL);
    if (flags < 0 || fcntl(descriptor, F_SETFL, flags | O_NONBLOCK) < 0)
        fail(errno);
}

int FileInputStream::read(char* buffer, int size)
{
    int count = 0;
    while (_file && count < size) {
        errno = 0;
        count +=
            static_cast<int>(std::fread(buffer + count, 1, static_cast<std::size_t>(size - count), _file));
        if (count == size || std::feof(_file))
            break;
        if (errno != EINTR) {
            fail(errno);
            break;
        }
        std::clearerr(_file); // a signal came in between
    }
    return count;
}

char const* FileInputStream::getErrorString() const
{
    return _failed ? _error.c_str() : nullptr;
}

void FileInputStream::fail(int errorNumber)
{
    if (_failed)
        return;
    _failed = true;
    _error = std::generic_category().message(errorNumber);
}

} // namespace Ferrule
