// What the bus does with a message: one look at the texts at its top chooses the handler. A call or response
// passes on in the very buffer in which it arrived, but for the four bytes that name the caller.

#include "tavix/ActivationPendingInternal.h"
#include "tavix/Connection.h"
#include "tavix/EventObserversInternal.h"
#include "tavix/LogDebug.h"
#include "tavix/Message.h"
#include "tavix/PendingCallsInternal.h"
#include "tavix/RemoteProxyResult.h"
#include "tavix/TavixBus.h"
#include "tavix/TvxObjectInternal.h"
#include "tavix/elements/EESFormat.h"
#include "tavix/elements/EESMessageType.h"
#include "tavix/elements/EESParser.h"
#include "tavix/elements/EESPeekParser.h"
#include "tavix/elements/EESVisitor.h"
#include "tavix/elements/ExceptionElem.h"
#include "tavix/elements/NullElem.h"
#include "tavix/elements/RoutingMemoInternal.h"

#include <cstdio>
#include <string>
#include <vector>

namespace Tavix {

namespace {

// A field that is missing reads as the empty text.
std::string_view textOf(std::optional<std::string_view> const& field)
{
    return field.value_or(std::string_view());
}

std::string stringOf(std::optional<std::string_view> const& field)
{
    return std::string(textOf(field));
}

void printLine(char const* before, std::optional<std::string_view> const& text, char const* behind)
{
    std::printf("%s%.*s%s\n", before, static_cast<int>(textOf(text).size()), textOf(text).data(), behind);
}

} // namespace

void TavixBus::handleReceivedMessage(SharedPtr<Message> const& message)
{
    using Handler = void (TavixBus::*)(SharedPtr<Message> const&, RoutingFields&);
    static const struct {
        std::string_view systemRule;
        Handler handler;
    } kRules[] = {
        {"callMethod", &TavixBus::handleMethodCallServer},
        {"backChannel", &TavixBus::handleMethodCallServer},
        {"event", &TavixBus::handleSendEvent},
        {"addSharedObject", &TavixBus::handleAddSharedObjectServer},
        {"removeSharedObject", &TavixBus::handleRemoveSharedObjectServer},
        {"addObserver", &TavixBus::handleAddEventObserver},
        {"removeObserver", &TavixBus::handleRemoveEventObserver},
    };

    RoutingFields fields;
    peekMessage(message, fields);
    if (fields.messageType == "response") {
        routeResponse(message);
        return;
    }
    if (fields.messageType != "method" && fields.messageType != "backChannel")
        return;
    for (auto const& rule : kRules) {
        if (fields.systemRule == rule.systemRule) {
            (this->*rule.handler)(message, fields);
            return;
        }
    }
    handleUnknownRule(message, fields);
}

void TavixBus::peekMessage(SharedPtr<Message> const& message, RoutingFields& fields) const
{
    message->messageId = readBigEndian32(message->data + kOffsetMessageId);
    RoutingMemo& memo = _routing[static_cast<unsigned>(message->clientId) % kMemos];
    memo.readRoutingFields(message->data + kSizeFieldLength, message->size - kSizeFieldLength, fields);
}

Element* TavixBus::parseMessage(SharedPtr<Message> const& message) const
{
    return EESParser::readContainer(message->data + kSizeFieldLength, message->size - kSizeFieldLength,
                                    kParsePosition, message->data[kOffsetVersion]);
}

void TavixBus::handleUnknownRule(SharedPtr<Message> const& message, RoutingFields& fields)
{
    std::unique_ptr<Element> tree(parseMessage(message));
    if (tree)
        tree->print("unhandled");
    printLine("Unhandled message type ", fields.systemRule, "");
}

void TavixBus::handleMethodCallServer(SharedPtr<Message> const& message, RoutingFields& fields)
{
    const int owner = _tvxObject->getClientId(textOf(fields.objName));
    if (owner == TvxObject::kActivating) {
        printLine("Activating ", fields.objName, "");
        _activationPending->add(textOf(fields.objName), message, fields);
        return;
    }
    if (owner == -1) {
        printLine("Activation failed for ", fields.objName, "!");
        sendFailure(message->clientId, message->messageId, PROXY_OBJECT_NOT_FOUND, "Object not found");
        return;
    }
    writeBigEndian32(message->data + kOffsetReplyClientId, static_cast<unsigned>(message->clientId));
    _pendingCalls->add(owner, message->clientId, message->messageId);
    sendTo(owner, message);
}

void TavixBus::routeResponse(SharedPtr<Message> const& message)
{
    const int caller = static_cast<int>(readBigEndian32(message->data + kOffsetReplyClientId));
    _pendingCalls->remove(caller, message->messageId);
    if (!sendTo(caller, message))
        LogDebug::logMessage("Message could not be routed to client %d", caller);
}

void TavixBus::handleAddSharedObjectServer(SharedPtr<Message> const& message, RoutingFields& fields)
{
    const std::string name = stringOf(fields.objName);
    if (_tvxObject->addObject(name, message->clientId) != 0) {
        sendFailure(message->clientId, message->messageId, PROXY_OBJECT_ALREADY_EXISTS,
                    "Object Already Exists");
        return;
    }
    sendDone(*message);
    _eventObservers->sharedObjectAdded(name);
    releaseDeferredCalls(name);
}

void TavixBus::releaseDeferredCalls(std::string_view name)
{
    std::vector<ActivationPending::Method> calls = _activationPending->take(name);
    if (calls.empty())
        return;
    // An owner that has gone already is found here, and the calls start it anew, and wait again.
    flush();
    printLine("Invoking methods deferred pending ", name, " activation");
    for (ActivationPending::Method& call : calls)
        handleMethodCallServer(call.message, call.fields);
}

void TavixBus::handleRemoveSharedObjectServer(SharedPtr<Message> const& message, RoutingFields& fields)
{
    const int result = _tvxObject->removeObject(stringOf(fields.objName), message->clientId);
    if (result == 0)
        sendDone(*message);
    else if (result == 1)
        sendFailure(message->clientId, message->messageId, PROXY_OBJECT_NOT_FOUND, "Object Not Found");
    else
        sendFailure(message->clientId, message->messageId, PROXY_REMOVE_FAILED_WRONG_CLIENT,
                    "Remove failed your not the owner");
}

void TavixBus::handleAddEventObserver(SharedPtr<Message> const& message, RoutingFields& fields)
{
    if (_eventObservers->addObserver(stringOf(fields.objName), stringOf(fields.event), message->clientId) ==
        0)
        sendDone(*message);
    else
        sendFailure(message->clientId, message->messageId, PROXY_OBSERVER_ALREADY_EXISTS,
                    "Observer already exists");
}

void TavixBus::handleRemoveEventObserver(SharedPtr<Message> const& message, RoutingFields& fields)
{
    if (_eventObservers->removeObserver(stringOf(fields.objName), stringOf(fields.event),
                                        message->clientId) == 0)
        sendDone(*message);
    else
        sendFailure(message->clientId, message->messageId, PROXY_OBSERVER_NOT_FOUND, "Observer not found");
}

void TavixBus::handleSendEvent(SharedPtr<Message> const& message, RoutingFields& fields)
{
    std::vector<int> const* observers =
        _eventObservers->findObserverList(textOf(fields.objName), textOf(fields.event));
    if (!observers)
        return;
    for (int client : *observers)
        sendTo(client, message);
}

void TavixBus::sendResponse(int clientId, unsigned replyClientId, unsigned messageId, Element* result)
{
    EESVisitor visitor;
    visitor.startMessage(Response, messageId);
    result->accept(&visitor);
    if (replyClientId != 0)
        visitor.setReplyClientId(replyClientId);
    EncodedFrame frame;
    if (visitor.encodeFrame(frame))
        sendTo(clientId, SharedPtr<Message>(new Message(frame)));
}

void TavixBus::sendDone(Message const& request)
{
    NullElem done;
    sendResponse(request.clientId, 0, request.messageId, &done);
}

void TavixBus::sendFailure(int clientId, unsigned messageId, int code, char const* text)
{
    ExceptionElem failure(text, code);
    sendResponse(clientId, 0, messageId, &failure);
}

} // namespace Tavix
