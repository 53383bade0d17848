#include "tavixctl/TreeArgument.h"

#include <tavix/foundation/ByteArrayInputStream.h>
#include <tavix/foundation/FileInputStream.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

// Takes the words that name the input in a sentence.
SharedPtr<Tavix::Element> read(TreeForm form, Ferrule::FileInputStream& input, std::string const& name,
                               std::string& error)
{
    SharedPtr<Tavix::Element> value = readTree(form, input, error);
    if (char const* const failure = input.getErrorString()) {
        error = "cannot read " + name + ": " + failure;
        return {};
    }
    if (!value.get())
        error = name + " is not usable " + nameOf(form) + ": " + error;
    return value;
}

SharedPtr<Tavix::Element> readStandardInput(TreeForm form, std::string& error)
{
    Ferrule::FileInputStream input(stdin, false);
    return read(form, input, "standard input", error);
}

} // namespace

SharedPtr<Tavix::Element> readArgument(TreeForm form, std::string const& text, std::string& error)
{
    if (text == "-")
        return readStandardInput(form, error);
    Ferrule::ByteArrayInputStream input(text.data(), static_cast<int>(text.size()));
    SharedPtr<Tavix::Element> value = readTree(form, input, error);
    if (!value.get())
        error = std::string("the argument is not usable ") + nameOf(form) + ": " + error;
    return value;
}

SharedPtr<Tavix::Element> readFile(TreeForm form, std::string const& path, std::string& error)
{
    if (path == "-")
        return readStandardInput(form, error);
    FILE* const file = std::fopen(path.c_str(), "re");
    if (!file) {
        error = "cannot read " + path + ": " + std::strerror(errno);
        return {};
    }
    Ferrule::FileInputStream input(file);
    return read(form, input, path, error);
}
