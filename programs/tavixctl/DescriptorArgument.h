#ifndef TAVIX_PROGRAMS_TAVIXCTL_DESCRIPTORARGUMENT_H
#define TAVIX_PROGRAMS_TAVIXCTL_DESCRIPTORARGUMENT_H

#include "tavixctl/Deadline.h"
#include "tavixctl/ExitCode.h"

#include <tavix/elements/Element.h>
#include <tavix/foundation/SharedPtr.h>

#include <string>
#include <vector>

// Opens the files of "NAME=PATH[:r|w|rw]" texts and puts them under their names into the argument, which must be
// a JSON object or absent. The descriptors are open as long as this lives.
class DescriptorArguments {
public:
    DescriptorArguments() = default;
    DescriptorArguments(DescriptorArguments const&) = delete;
    DescriptorArguments& operator=(DescriptorArguments const&) = delete;
    ~DescriptorArguments();

    // Makes the places; nothing is opened yet, which may empty a file. False with an error in words.
    bool addTo(SharedPtr<Tavix::Element>& argument, std::vector<std::string> const& texts,
               std::string& error);

    // Opens the files into their places in the argument. A named pipe waits for its other end.
    ExitCode open(Deadline const& deadline);

private:
    struct File {
        std::string path;      // with its mode
        Tavix::Element* place; // lent by the argument
    };

    std::vector<File> _files;
    std::vector<int> _open;
};

#endif
