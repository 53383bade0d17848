#ifndef TAVIX_PROGRAMS_TAVIXCTL_DESCRIPTORARGUMENT_H
#define TAVIX_PROGRAMS_TAVIXCTL_DESCRIPTORARGUMENT_H

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

    // False with an error in words.
    bool addTo(SharedPtr<Tavix::Element>& argument, std::vector<std::string> const& texts,
               std::string& error);

private:
    bool open(std::string const& text, std::string& name, int& fd, std::string& error);

    std::vector<int> _open;
};

#endif
