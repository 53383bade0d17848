// What the bus has, from two of its answers. "listObjects" gives the running names in byte order and behind
// them, in byte order too, those that could be started, some perhaps a second time. The first name that does
// not follow on its predecessor therefore begins the second part. When every name follows, the border may be
// anywhere behind "tvx", the bus's own object, which runs; then, and for the owners, "getDebug" tells which
// names the connections have. It separates names by a line end and two tabs, which a name may hold too: its
// text is cut into names that are known from the list.

#include "tavixctl/BusObjects.h"

#include <algorithm>
#include <map>
#include <set>

using Names = std::vector<std::string>;
using Owners = std::map<std::string, std::string>;

namespace {

char const kFirstName[] = "\n\tobjects:\n\t\t";
const std::string kNextName = "\n\t\t";

size_t countSeparators(std::string const& name)
{
    size_t count = 0;
    for (size_t at = 0; (at = name.find(kNextName, at)) != std::string::npos; at += kNextName.size())
        ++count;
    return count;
}

class ConnectionText {
public:
    explicit ConnectionText(Names const& names) : _names(names.begin(), names.end())
    {
        for (std::string const& name : names)
            _separators = std::max(_separators, countSeparators(name));
    }

    // Adds the names of one connection, from its text in the answer to "getDebug".
    void read(std::string const& connection, Owners& owners) const
    {
        size_t at = connection.find(kFirstName);
        if (at == std::string::npos)
            return;
        const std::string owner = connection.substr(0, at);
        for (at += sizeof kFirstName - 1; at <= connection.size();) {
            const size_t end = endOfName(connection, at);
            owners[connection.substr(at, end - at)] = owner;
            at = end + kNextName.size();
        }
    }

private:
    // The longest known name wins; an unknown one, which came after the list, ends at the next separator.
    size_t endOfName(std::string const& text, size_t begin) const
    {
        size_t known = std::string::npos;
        size_t first = std::string::npos;
        size_t from = begin;
        for (size_t i = 0; i <= _separators && from <= text.size(); ++i) {
            const size_t end = std::min(text.find(kNextName, from), text.size());
            if (i == 0)
                first = end;
            if (_names.count(text.substr(begin, end - begin)))
                known = end;
            from = end + kNextName.size();
        }
        return known == std::string::npos ? first : known;
    }

    std::set<std::string> _names;
    size_t _separators = 0; // the most that one name holds
};

ExitCode listOwners(BusClient& client, Names const& names, Owners& owners)
{
    Names entries;
    const ExitCode code = client.askBus("getDebug", nullptr, entries);
    const ConnectionText text(names);
    for (std::string const& entry : entries)
        text.read(entry, owners);
    return code;
}

// The number of names that surely run, and whether what follows surely does not.
size_t countRunning(Names const& names, bool& sure)
{
    const auto border = std::adjacent_find(names.begin(), names.end(), std::greater_equal<>());
    sure = border != names.end() || names.empty() || names.back() == "tvx";
    if (sure)
        return border == names.end() ? names.size() : static_cast<size_t>(border - names.begin()) + 1;
    return static_cast<size_t>(std::find(names.begin(), names.end(), "tvx") - names.begin()) + 1;
}

// Both answers of one moment: the list is the same before and behind the owners. A bus where names come and
// go all the time is shown as it was last seen.
ExitCode listWithOwners(BusClient& client, Names& names, Owners& owners)
{
    ExitCode code = kSuccess;
    for (int attempt = 0; attempt < 5 && code == kSuccess; ++attempt) {
        owners.clear();
        Names again;
        code = listOwners(client, names, owners);
        if (code == kSuccess)
            code = client.askBus("listObjects", nullptr, again);
        if (again == names)
            break;
        names = std::move(again);
    }
    return code;
}

} // namespace

ExitCode listObjects(BusClient& client, bool withOwners, std::vector<BusObject>& objects)
{
    Names names;
    Owners owners;
    bool sure = false;
    ExitCode code = client.askBus("listObjects", nullptr, names);
    countRunning(names, sure);
    if (code == kSuccess && (withOwners || !sure))
        code = listWithOwners(client, names, owners);
    if (code != kSuccess)
        return code;
    const size_t running = countRunning(names, sure);
    std::map<std::string, BusObject> unique;
    for (size_t i = 0; i < names.size(); ++i) {
        auto owner = owners.find(names[i]);
        const bool owned = owner != owners.end();
        const bool runs = i < running || (!sure && owned);
        unique.try_emplace(names[i], BusObject{names[i], runs, runs && owned ? owner->second : ""});
    }
    for (auto& object : unique)
        objects.push_back(std::move(object.second));
    return kSuccess;
}
