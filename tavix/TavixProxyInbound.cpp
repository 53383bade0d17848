// The receiving half: a message is decoded, and told apart as a call or event, a response, or the request for a
// descriptor transfer. The end of a connection has one winner, the thread that takes the link out of the proxy; it alone completes the
// requests of that link.

#include "tavix/LateThrowInternal.h"
#include "tavix/Message.h"
#include "tavix/ProxyInternal.h"
#include "tavix/TavixProxy.h"
#include "tavix/elements/EESFormat.h"
#include "tavix/elements/EESParser.h"
#include "tavix/elements/EESPeekParser.h"
#include "tavix/elements/ExceptionElem.h"
#include "tavix/elements/MapElem.h"
#include "tavix/elements/NullElem.h"
#include "tavix/foundation/Check.h"
#include "tavix/foundation/SingleThreaded.h"

#include <cstdio>
#include <utility>
#include <vector>

namespace Tavix {

namespace {

std::string textOf(MapElem const* map, char const* key)
{
    Element* child = map->find(key);
    return child ? child->stringValue() : std::string();
}

} // namespace

void TavixProxy::handleReceivedMessage(SharedPtr<Message> const& message, unsigned connectionId)
{
    message->messageId = readBigEndian32(message->data + kOffsetMessageId);
    const unsigned clientId = readBigEndian32(message->data + kOffsetReplyClientId);
    std::shared_ptr<void const> owner;
    if (message->size >= kSharedLength)
        owner = std::make_shared<SharedPtr<Message>>(message);
    if (dispatchPlainCall(*message, clientId, connectionId, owner) || dispatchPlainEvent(*message, owner))
        return;
    bool descriptors = false;
    std::unique_ptr<Element> root(EESParser::readContainer(
        message->data + kSizeFieldLength, message->size - kSizeFieldLength, kParsePosition,
        message->data[kOffsetVersion], std::move(owner), 0, &descriptors));
    if (!root || !root->isMap()) {
        std::puts("ClientSession: handleReceivedMessage() - OUT OF MEMORY");
        std::fflush(stdout);
        handleUndecodable(*message, clientId, connectionId);
        return;
    }
    MapElem* map = static_cast<MapElem*>(root.release());
    const std::string messageType = textOf(map, "messageType");
    if (messageType == "response") {
        handleMethodResponse(static_cast<int>(message->messageId), kResponse, map);
        return;
    }

    std::unique_ptr<ResponseData> data(new ResponseData(map));
    if (messageType == "backChannel")
        data.reset(
            serveBackChannel(std::exchange(data->map, nullptr), static_cast<int>(clientId), connectionId));
    data->clientId = static_cast<int>(clientId);
    data->requestId = message->messageId;
    data->connectionId = connectionId;
    if (messageType == "method") {
        if (map->hasChild("event") || !(descriptors || _private->backChannels.hasReceived) ||
            takeDescriptors(textOf(map, "objName"), textOf(map, "method"), message->messageId, clientId,
                            connectionId, map->find("params")))
            dispatchEvent(data.release());
    } else if (messageType == "backChannel")
        sendResponseOn(connectionId, clientId, static_cast<int>(message->messageId),
                       data->map->find("result"));
    else {
        std::puts("NO SUCH MESSAGE TYPE!");
        handleUndecodable(*message, clientId, connectionId);
    }
}

void TavixProxy::handleUndecodable(Message const& message, unsigned clientId, unsigned connectionId)
{
    RoutingFields fields;
    EESPeekParser::readRoutingFields(message.data + kSizeFieldLength, message.size - kSizeFieldLength,
                                     kParsePosition, fields, true);
    if (fields.messageType == "response") {
        MapElem* map = new MapElem;
        map->addChild("result", new ExceptionElem("The response could not be decoded", -1));
        handleMethodResponse(static_cast<int>(message.messageId), kResponse, map);
    } else if ((fields.messageType == "method" && fields.systemRule == "callMethod") ||
               fields.messageType == "backChannel") {
        ExceptionElem exception("The call could not be decoded", -1);
        sendResponseOn(connectionId, clientId, static_cast<int>(message.messageId), &exception);
    }
}

void TavixProxy::handleMethodResponse(int requestId, MessageType, MapElem* map)
{
    ResponseData responseData(map);
    std::unique_ptr<CoreRequest> core;
    {
        Ferrule::Guard<std::mutex> guard(_private->requestLock);
        auto entry = _private->requests.find(static_cast<unsigned>(requestId));
        if (entry == _private->requests.end())
            return;
        core.reset(entry->second);
        _private->requests.erase(entry);
    }
    if (!map->find("result")) // a response without a value
        map->addChild("result", new NullElem);
    if (_log.get() && core->type == CallMethod)
        _log->logMethodResponse(static_cast<unsigned>(requestId), map->find("result"));
    if (core->type == AddSharedObject)
        reportRefusal(*core, map);
    responseData.requestId = static_cast<unsigned>(requestId);
    core->setResponse(&responseData);
}

void TavixProxy::reportRefusal(CoreRequest const& core, MapElem const* map)
{
    Element* answer = map->find("result");
    if (answer->isException())
        std::fprintf(stderr, "TavixProxy: the bus refused to share object \"%s\": %s (code %d)\n",
                     core.objName.c_str(), answer->stringValue().c_str(), answer->intValue());
}

void TavixProxy::connectionBroken(std::shared_ptr<ProxyLink> const& link)
{
    {
        Ferrule::Guard<std::mutex> guard(_private->connectionLock);
        if (_private->link != link)
            return;
        _private->link.reset();
        _private->linkId = 0;
    }
    void** source;
    {
        Ferrule::Guard<std::mutex> guard(_private->writeLock);
        source = std::exchange(link->source, nullptr);
        _pollLoopIf->sourceRemoveWatch(source, kReadWatch | kWriteWatch);
    }
    // The descriptor closes with the last holder of the link; the peer hears of it now.
    link->connection.shutdownSocket();
    // Last, because it wakes the loop: the thread in there may be the one that waits for such a request.
    struct Removal {
        ~Removal()
        {
            loop.removeSource(source);
            loop.deleteSource(source);
        }
        PollLoopIf& loop;
        void** source;
    } removal{*_pollLoopIf, source};
    endWaitsForObjects(link->id);
    completeRequests(link->id);
}

// A request that is sent behind this finds the socket shut.
void TavixProxy::endTraffic()
{
    if (std::shared_ptr<ProxyLink> link = currentLink()) {
        sourceWrite(link); // what a handler that ends the loop has sent
        link->ended = true;
        link->connection.shutdownSocket();
        endWaitsForObjects(link->id);
        completeRequests(link->id);
    }
}

void TavixProxy::completeRequests(unsigned linkId)
{
    std::vector<std::pair<unsigned, std::unique_ptr<CoreRequest>>> ended;
    {
        Ferrule::Guard<std::mutex> guard(_private->requestLock);
        for (auto entry = _private->requests.begin(); entry != _private->requests.end();) {
            if (entry->second->connectionId == linkId) {
                ended.emplace_back(entry->first, entry->second);
                entry = _private->requests.erase(entry);
            } else {
                ++entry;
            }
        }
    }
    LateThrow thrown; // the others have a right to their answers
    for (auto& request : ended) {
        MapElem* map = new MapElem;
        map->addChild("result", new ExceptionElem("Connection broken", PROXY_CONNECTION_ERROR));
        ResponseData responseData(map);
        responseData.requestId = request.first;
        thrown.during([&] { request.second->setResponse(&responseData); });
    }
    thrown.during([&] { _private->backChannels.connectionEnded(linkId); });
    thrown.rethrow();
}

} // namespace Tavix
