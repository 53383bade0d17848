#include "tavixctl/TreeArgument.h"

#include "tavixctl/EESFile.h"
#include "tavixctl/TreeDifference.h"

#include <tavix/foundation/ByteArrayInputStream.h>
#include <tavix/foundation/FileInputStream.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace {

using FilePtr = std::unique_ptr<FILE, int (*)(FILE*)>;

FilePtr openFile(std::string const& path, std::string& error)
{
    FilePtr file(path == "-" ? stdin : std::fopen(path.c_str(), "re"),
                 path == "-" ? [](FILE*) { return 0; } : std::fclose);
    if (!file)
        error = "cannot read " + path + ": " + std::strerror(errno);
    return file;
}

std::string nameOfFile(std::string const& path)
{
    return path == "-" ? "standard input" : path;
}

// Makes a sentence of the error of a read that failed.
SharedPtr<Tavix::Element> checkRead(SharedPtr<Tavix::Element> const& value, TreeForm form,
                                    Ferrule::FileInputStream const& input, std::string const& path,
                                    std::string& error)
{
    if (char const* const failure = input.getErrorString()) {
        error = "cannot read " + nameOfFile(path) + ": " + failure;
        return {};
    }
    if (!value.get())
        error = nameOfFile(path) + " is not usable " + nameOf(form) + ": " + error;
    return value;
}

SharedPtr<Tavix::Element> readText(TreeForm form, std::string const& text, std::string& error)
{
    Ferrule::ByteArrayInputStream input(text.data(), static_cast<int>(text.size()));
    return readTree(form, input, error);
}

} // namespace

SharedPtr<Tavix::Element> readArgument(TreeForm form, std::string const& text, std::string& error)
{
    SharedPtr<Tavix::Element> value = text == "-" ? readFile(form, text, error) : readText(form, text, error);
    if (!value.get()) {
        if (text != "-")
            error = std::string("the argument is not usable ") + nameOf(form) + ": " + error;
        return {};
    }
    // Why a value cannot be sent at all is told when that is tried.
    std::string message;
    std::string const loss = messageOfValue(value.get(), message, error)
                                 ? differenceOf(value.get(), valueOfMessage(message, error).get())
                                 : "";
    if (loss.empty())
        return value;
    error = "the argument cannot be sent: " + loss;
    return {};
}

SharedPtr<Tavix::Element> readFile(TreeForm form, std::string const& path, std::string& error)
{
    FilePtr const file = openFile(path, error);
    if (!file)
        return {};
    Ferrule::FileInputStream input(file.get(), false);
    SharedPtr<Tavix::Element> const value = readTree(form, input, error);
    return checkRead(value, form, input, path, error);
}

SharedPtr<Tavix::Element> readTextFile(std::string const& path, std::string& error)
{
    FilePtr const file = openFile(path, error);
    if (!file)
        return {};
    Ferrule::FileInputStream input(file.get(), false);
    std::string text;
    if (!readAll(input, text, error)) {
        error = "cannot read " + nameOfFile(path) + ": " + error;
        return {};
    }
    std::size_t const first = text.find_first_not_of(" \t\r\n\xEF\xBB\xBF"); // also behind a byte order mark
    TreeForm const form = first != std::string::npos && text[first] == '<' ? TreeForm::kXml : TreeForm::kJson;
    return checkRead(readText(form, text, error), form, input, path, error);
}
