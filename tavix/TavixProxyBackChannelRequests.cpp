// What senders ask of a receiver over the bus, and how much it keeps for them.

#include "tavix/ProxyInternal.h"
#include "tavix/TavixProxyBackChannelInternal.h"
#include "tavix/elements/ExceptionElem.h"
#include "tavix/elements/FileDescriptorElem.h"
#include "tavix/elements/NullElem.h"
#include "tavix/elements/StringElem.h"
#include "tavix/foundation/SingleThreaded.h"

#include <algorithm>
#include <chrono>
#include <sys/resource.h>
#include <unistd.h>

namespace Tavix {

namespace {

std::string baseName(std::string const& path)
{
    return path.substr(path.rfind('/') + 1);
}

} // namespace

ResponseData* TavixProxy::serveBackChannel(MapElem* message, int clientId, unsigned connectionId)
{
    std::unique_ptr<MapElem> owned(message);
    MapElem* answer = new MapElem;
    answer->addChild("result", _private->backChannels.serve(message->find("params"), clientId, connectionId));
    return new ResponseData(answer);
}

Element* BackChannels::serve(Element* params, int clientId, unsigned connectionId)
{
    if (auto* name = dynamic_cast<StringElem*>(params)) {
        withdraw(name->stringValue(), clientId);
        return new NullElem;
    }
    auto* introduction = dynamic_cast<FileDescriptorElem*>(params);
    if (!introduction)
        return new ExceptionElem("The request for a back channel holds no descriptor", PROXY_EXCEPTION);
    // Up to a zero byte, as the kernel reads it.
    const std::string program = introduction->exe().c_str();
    if (access(program.c_str(), F_OK) != 0)
        return new ExceptionElem("FileDescriptor requires uds connection", PROXY_EXCEPTION);

    std::unique_ptr<ReceiveFileDescriptorState> state(
        new ReceiveFileDescriptorState(*this, connectionId, clientId));
    std::string reason;
    Ferrule::Guard<std::mutex> guard(lock);
    dropForgotten();
    if (this->connectionId() != connectionId)
        reason = "Connection broken";
    else if (isFull(clientId, 1))
        reason = "too many transfers are under way";
    if (!reason.empty() || !state->listen(baseName(program), introduction->pid(), reason)) {
        state->close();
        return new ExceptionElem("Cannot open a back channel: " + reason, PROXY_CONNECTION_ERROR);
    }
    MapElem* result = new MapElem;
    result->addChild("port", new IntegerElem(-1));
    result->addChild("hostname", new StringElem(state->name));
    add(std::move(state));
    return result;
}

void BackChannels::withdraw(std::string const& name, int clientId)
{
    EndedTransfers ended;
    Ferrule::Guard<std::mutex> guard(lock);
    auto withdrawn = [&](Transfer* transfer) {
        auto* receiving = dynamic_cast<ReceiveFileDescriptorState*>(transfer);
        return receiving && receiving->clientId == clientId && (name.empty() || receiving->name == name);
    };
    takeAll(withdrawn, ended);
    if (name.empty())
        dropReceived([=](ReceivedDescriptors const& entry) { return entry.clientId == clientId; });
}

bool BackChannels::isFull(int clientId, size_t added) const
{
    size_t own = added;
    size_t all = added;
    auto count = [&](int client, size_t descriptors) {
        all += descriptors;
        own += client == clientId ? descriptors : 0;
    };
    for (auto const& entry : transfers)
        if (auto* receiving = dynamic_cast<ReceiveFileDescriptorState*>(entry.first))
            count(receiving->clientId, 1);
    for (auto const& entry : fdMaps)
        count(entry.second.clientId, entry.second.descriptors.size());
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const size_t most = std::max(static_cast<size_t>(limit.rlim_cur), kLeastLimit);
    return own > most / 2 || all > most / 4 * 3;
}

// Under the lock.
void BackChannels::dropForgotten()
{
    const auto limit = std::chrono::steady_clock::now() - patience;
    EndedTransfers ended;
    auto forgotten = [=](Transfer* transfer) {
        auto* receiving = dynamic_cast<ReceiveFileDescriptorState*>(transfer);
        return receiving && receiving->since < limit;
    };
    takeAll(forgotten, ended);
    dropReceived([=](ReceivedDescriptors const& entry) { return entry.since < limit; });
}

} // namespace Tavix
