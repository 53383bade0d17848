#ifndef TAVIX_ACTIVATIONCONFIGINTERNAL_H
#define TAVIX_ACTIVATIONCONFIGINTERNAL_H

#include "tavix/foundation/DataObject.h"

#include <string>

namespace Tavix {

class ObjectActivator;

// Reads the files that say which objects are started on demand. Each holds one JSON object, or a list of
// them, with these keys; others are ignored:
//
//     "name"     the object's name, or a list of names that one provider serves
//     "exec"     the path of a program to run without arguments; or else
//     "service"  the name of a system service
//
// What is wrong with a file or an entry is said on standard output, and harms no other; a file has
// 20 such lines, and one that says how many more there are.
class ActivationConfig {
public:
    // Lends activator, which gets the entries.
    explicit ActivationConfig(ObjectActivator& activator) : _activator(activator) {}

    // Reads the regular files of a directory whose names do not begin with ".". False only when the directory
    // cannot be read, with the reason on standard error.
    bool load(char const* directory);

private:
    void loadFile(std::string const& path);
    void report(std::string const& path, std::string const& reason);
    void loadConfigEntry(std::string const& path, Ferrule::DataObject const& entry);
    void addNames(std::string const& path, Ferrule::DataObject const& names, std::string const& exec,
                  std::string const& service);
    void add(char const* name, std::string const& exec, std::string const& service);

    ObjectActivator& _activator;
    unsigned _faults = 0; // of the file
};

} // namespace Tavix

#endif
