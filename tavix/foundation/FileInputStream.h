#ifndef TAVIX_FOUNDATION_FILEINPUTSTREAM_H
#define TAVIX_FOUNDATION_FILEINPUTSTREAM_H

#include <tavix/foundation/Export.h>
#include <tavix/foundation/InputStream.h>

#include <cstdio>
#include <string>

namespace Ferrule {

// Reads a stdio stream. What goes wrong, from the constructor on, is kept for getErrorString().
class TAVIX_API FileInputStream : public InputStream {
public:
    // Takes `file` and closes it at the end when `owned`, else lends from it.
    explicit FileInputStream(FILE* file, bool owned = true);

    // Takes `descriptor`, which is closed at the end, and here when it cannot be read from.
    explicit FileInputStream(int descriptor);

    ~FileInputStream() override;
    FileInputStream(FileInputStream const&) = delete;
    FileInputStream& operator=(FileInputStream const&) = delete;

    // From now on a read that would block is a failure. Bears on everyone who shares the open file.
    void setNonBlocking();

    int read(char* buffer, int size) override;

    // Lends the text of the first failure, null when all is well.
    char const* getErrorString() const;

private:
    void fail(int errorNumber);

    FILE* _file;
    bool _owned;
    bool _failed;
    std::string _error;
};

} // namespace Ferrule

#endif
