#ifndef TAVIX_ELEMENTS_FILEDESCRIPTORELEM_H
#define TAVIX_ELEMENTS_FILEDESCRIPTORELEM_H

#include <tavix/elements/IntegerElem.h>

namespace Tavix {

// Stands for an open descriptor of one process: its number, which is the integer value (-1 for none), and the
// identity of the process that holds it. The element does not own the descriptor: deleting or cloning it
// closes and duplicates nothing.
//
// instanceOf is true for "FileDescriptorElem" only.
class TAVIX_API FileDescriptorElem : public IntegerElem {
public:
    static constexpr char _type[] = "FileDescriptorElem";

    // Completes what is empty from this process: `host` is the host's name, `pid` "/proc/" and the process
    // id, `exe` the path of the program. With all texts given it makes no system call. A host whose name
    // cannot be read stops the process.
    FileDescriptorElem(int fd, std::string host, std::string pid, std::string exe);
    ~FileDescriptorElem() override;

    // An element that speaks of another process, as every decoded one does: its empty texts stay empty. The caller owns
    // it; null when memory runs out.
    static FileDescriptorElem* makeForeign(int fd, std::string host, std::string pid, std::string exe);

    // The number is one of another process, where no call may pass the descriptor on that it stands for here. setValue
    // ends that, which the proxy does when the descriptor itself has come with a call.
    bool isForeign() const { return _foreign; }
    using IntegerElem::setValue;
    bool setValue(int value) override;

    // "host", "pid" and "exe" take the text of `value`; any other name takes its integer as the number, of the same
    // process as before. Lends: `value` stays the caller's.
    void setMember(std::string const& name, Element* value);

    std::string toString() const override;
    Element* clone() const override;
    void accept(ElementVisitor* visitor) override;
    bool instanceOf(std::string const& type) const override;

    std::string const& host() const { return _host; }
    std::string const& pid() const { return _pid; }
    std::string const& exe() const { return _exe; }

private:
    struct Foreign {};
    FileDescriptorElem(Foreign, int fd, std::string host, std::string pid, std::string exe);

    std::string _host;
    std::string _pid;
    std::string _exe;
    bool _foreign = false;
};

} // namespace Tavix

#endif
