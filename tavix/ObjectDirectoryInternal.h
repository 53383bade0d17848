#ifndef TAVIX_OBJECTDIRECTORYINTERNAL_H
#define TAVIX_OBJECTDIRECTORYINTERNAL_H

#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace Tavix {

// Which client owns the object of which name. Names match byte for byte; listings come in byte-wise order.
// Used on the bus's loop thread only.
class ObjectDirectory {
public:
    // 0 stored; 1 the name exists already, whoever owns it.
    int addObject(std::string const& name, int clientId);
    // The owner's client id, or -1.
    int findMatch(std::string_view name) const;
    // 0 removed; 1 no such name; 2 the name belongs to another client, and it stays.
    int removeObject(std::string const& name, int clientId);
    // Removes every name of that owner, at the cost of those names. Answers them in name order.
    std::vector<std::string> removeAllObjectsForClient(int clientId);
    bool ownsAny(int clientId) const { return _names.count(clientId) > 0; }
    // Appends the owner's names to text in name order, "\n\t\t" before each unless text is empty.
    void getAllObjectsForClient(int clientId, std::string& text) const;

    std::map<std::string, int, std::less<>> const& getObjects() const { return _owners; }

private:
    std::map<std::string, int, std::less<>> _owners;
    std::map<int, std::set<std::string_view>> _names; // by owner; the views look at the keys of _owners
};

} // namespace Tavix

#endif
