// Serving shared objects. Every inbound call is a token that stands in the list of pending calls until it is
// answered; the list makes a late answer, a second answer and the removal of an object with calls under way
// safe and visible. A token remembers the connection of its call: an answer never leaves on a later
// connection, where the same client id may name somebody else.

#include "tavix/Message.h"
#include "tavix/ProxyInternal.h"
#include "tavix/TavixProxy.h"
#include "tavix/TavixProxyThreaded.h"
#include "tavix/elements/EESFormat.h"
#include "tavix/elements/EESParser.h"
#include "tavix/elements/ExceptionElem.h"
#include "tavix/elements/FileDescriptorVisitor.h"
#include "tavix/elements/MapElem.h"
#include "tavix/elements/NullElem.h"
#include "tavix/foundation/Check.h"
#include "tavix/foundation/SingleThreaded.h"

#include <cstdio>
#include <cxxabi.h>
#include <exception>
#include <typeinfo>
#include <utility>
#include <vector>

namespace Tavix {

namespace {

const char kDisappeared[] = "Object disappeared";

} // namespace

TavixProxy::MethodCall::MethodCall(TavixProxy* owner, ResponseData* received)
    : life(owner->_private->life), data(received), params(received->map->find("params")),
      clientId(received->clientId), requestId(received->requestId), connectionId(received->connectionId)
{
    Element* objNameChild = received->map->find("objName");
    Element* methodChild = received->map->find("method");
    Element* identityChild = received->map->find("identity");
    complete = objNameChild && methodChild;
    if (objNameChild)
        objName = objNameChild->stringValue();
    if (methodChild)
        method = methodChild->stringValue();
    if (identityChild)
        identity = identityChild->stringValue();
    if (!params) {
        params = new NullElem;
        received->map->addChild("params", params);
    }
}

TavixProxy::MethodCall::MethodCall(TavixProxy* owner, RoutingFields const& fields, Element* callParams,
                                   int client, unsigned request, unsigned connection)
    : life(owner->_private->life), ownParams(callParams), objName(*fields.objName), method(*fields.method),
      identity(fields.identity.value_or(std::string_view())), params(callParams), clientId(client),
      requestId(request), connectionId(connection), complete(true)
{
}

bool TavixProxy::MethodCall::respondFirst(Element* result)
{
    if (responded.exchange(true))
        return false;
    answer(result);
    return true;
}

void TavixProxy::MethodCall::respond(Element* result)
{
    TAVIX_CHECK(result, "result");
    if (respondFirst(result))
        return;
    std::fprintf(stderr,
                 "Warning: respond() called for method that wasn't pending\n"
                 "  MethodToken: %p\n"
                 "  Client Id: %d\n"
                 "  Request Id: %d\n"
                 "  Object Name: %s\n"
                 "  Method Name: %s\n",
                 static_cast<void*>(this), clientId, static_cast<int>(requestId), objName.c_str(),
                 method.c_str());
}

void TavixProxy::MethodCall::answer(Element* result)
{
    Ferrule::Guard<std::mutex> guard(life->lock);
    TavixProxy* const proxy = life->proxy;
    if (!proxy)
        return;
    ++life->answering;
    guard.unlock();
    proxy->_sendMethodResponse(this, result);
    guard.lock();
    if (--life->answering == 0)
        life->idle.notify_all();
}

RemoteProxyResult TavixProxy::addSharedObject(std::string objName, SharedObjectObserver* observer)
{
    if (!isConnected())
        return PROXY_CONNECTION_ERROR;
    Registered<SharedObject> object(new SharedObject(observer));
    SharedObject* replaced = nullptr;
    if (listObject(objName, object.get(), replaced))
        object.release();
    const Registered<SharedObject> old(replaced);
    const RemoteProxyResult result = announceObject(objName);
    if (result != PROXY_OK)
        forgetObserver(objName, observer);
    return result;
}

// What an earlier connection left behind gives way: its observer may be gone.
bool TavixProxy::listObject(std::string const& objName, SharedObject* object, SharedObject*& replaced)
{
    const unsigned linkId = _private->linkId;
    Ferrule::Guard<std::mutex> guard(_private->tableLock);
    Registered<SharedObject>& place = _private->sharedObjects[objName];
    if (place && place->linkId == linkId)
        return false;
    if (place)
        place->withdraw();
    replaced = place.release();
    object->linkId = linkId;
    place.reset(object);
    return true;
}

RemoteProxyResult TavixProxy::announceObject(std::string const& objName)
{
    RemoteProxyResult result = PROXY_OK;
    formatAndSendRequest(AddSharedObject, objName, "", nullptr, true, result, nullptr, nullptr);
    return result;
}

bool TavixProxy::isServedByAnother(std::string const& objName, SharedObjectObserver const* observer) const
{
    Ferrule::Guard<std::mutex> guard(_private->tableLock);
    auto entry = _private->sharedObjects.find(objName);
    return entry != _private->sharedObjects.end() && entry->second->observer != observer;
}

void TavixProxy::forgetObserver(std::string const& objName, SharedObjectObserver* observer)
{
    const Registered<SharedObject> forgotten(takeOutObject(objName, observer));
}

TavixProxy::SharedObject* TavixProxy::takeOutObject(std::string const& objName,
                                                    SharedObjectObserver const* observer)
{
    Ferrule::Guard<std::mutex> guard(_private->tableLock);
    auto entry = _private->sharedObjects.find(objName);
    if (entry == _private->sharedObjects.end() || (observer && entry->second->observer != observer))
        return nullptr;
    SharedObject* object = entry->second.release();
    _private->sharedObjects.erase(entry);
    object->withdraw();
    return object;
}

RemoteProxyResult TavixProxy::removeSharedObject(std::string objName)
{
    if (!isConnected())
        return PROXY_CONNECTION_ERROR;
    const Registered<SharedObject> removed(takeOutObject(objName, nullptr));
    return removed ? retractObject(objName) : PROXY_OBJECT_NOT_FOUND;
}

// For an object that has left the table.
RemoteProxyResult TavixProxy::retractObject(std::string const& objName)
{
    RemoteProxyResult result = PROXY_OK;
    formatAndSendRequest(RemoveSharedObject, objName, "", nullptr, true, result, nullptr, nullptr);

    std::vector<SharedPtr<MethodCall>> unanswered;
    {
        Ferrule::Guard<std::mutex> guard(_private->methodLock);
        for (SharedPtr<MethodCall> const& call : _private->pendingMethods) {
            if (call->getObjectName() == objName)
                unanswered.push_back(call);
        }
    }
    ExceptionElem disappeared(kDisappeared, PROXY_CONNECTION_ERROR);
    for (SharedPtr<MethodCall> const& call : unanswered)
        call->respond(&disappeared);
    return result;
}

void TavixProxy::dispatchMethodCall(ResponseData* data)
{
    startMethodCall(SharedPtr<MethodCall>(new MethodCall(this, data)));
}

bool TavixProxy::decodesPlainly() const
{
    return typeid(*this) == typeid(TavixProxy) || typeid(*this) == typeid(TavixProxyThreaded);
}

// A call as encoders write it needs no tree of its routing fields: only its parameters are decoded. False, with
// nothing done, for every other message, and in a proxy of a derived class, whose dispatchEvent may look at the
// whole message.
bool TavixProxy::dispatchPlainCall(Message const& message, unsigned clientId, unsigned connectionId,
                                   std::shared_ptr<void const> const& owner)
{
    if (message.data[kOffsetMessageType] != CallMethod || !decodesPlainly())
        return false;
    unsigned char const* const block = message.data + kSizeFieldLength;
    const unsigned length = message.size - kSizeFieldLength;
    RoutingFields fields;
    _private->callMemo.readRoutingFields(block, length, fields, true);
    if (!fields.regular || fields.messageType != "method" || fields.systemRule != "callMethod" ||
        fields.event || !fields.objName || !fields.method || !fields.params || fields.valuePosition >= length)
        return false;
    bool descriptors = false;
    std::unique_ptr<Element> params(EESParser::readContainer(
        block, length, fields.valuePosition, message.data[kOffsetVersion], owner, 1, &descriptors));
    if (!params)
        return false;
    if (!(descriptors || _private->backChannels.hasReceived) ||
        takeDescriptors(std::string(*fields.objName), std::string(*fields.method), message.messageId,
                        clientId, connectionId, params.get()))
        startMethodCall(SharedPtr<MethodCall>(new MethodCall(
            this, fields, params.release(), static_cast<int>(clientId), message.messageId, connectionId)));
    return true;
}

void TavixProxy::startMethodCall(SharedPtr<MethodCall> const& call)
{
    {
        Ferrule::Guard<std::mutex> guard(_private->methodLock);
        call->place = _private->pendingMethods.insert(_private->pendingMethods.end(), call);
        call->pending = true;
    }
    try {
        runMethodCall(call);
    } catch (std::exception const& thrown) {
        answerThrown(call.get(), thrown.what());
    } catch (std::string const& thrown) {
        answerThrown(call.get(), thrown.c_str());
    } catch (char const* thrown) {
        answerThrown(call.get(), thrown);
    } catch (abi::__forced_unwind&) { // the thread is being cancelled
        throw;
    } catch (...) {
        answerThrown(call.get(), nullptr);
    }
}

void TavixProxy::runMethodCall(SharedPtr<MethodCall> const& call)
{
    if (_log.get())
        _log->logMethodCall(true, call->objName, call->method, call->params, call->requestId);
    if (!call->isComplete()) {
        closeDescriptors(call->params);
        ExceptionElem exception("The call names no object or no method", -1);
        call->respond(&exception);
        return;
    }
    Registered<SharedObject> object;
    {
        Ferrule::Guard<std::mutex> guard(_private->tableLock);
        auto entry = _private->sharedObjects.find(call->objName);
        if (entry != _private->sharedObjects.end())
            object = shareRegistration(entry->second.get());
    }
    if (!object) {
        closeDescriptors(call->params);
        ExceptionElem exception("Object not found", PROXY_OBJECT_NOT_FOUND);
        call->respond(&exception);
        return;
    }
    std::unique_ptr<Element> response;
    if (!callObject(*object, call, response))
        return;
    TAVIX_CHECK(response.get(), "response.get ()");
    call->respond(response.get());
}

// False when there is nothing left to answer: the object has taken the call, or is being removed, and then the call
// ends with it.
bool TavixProxy::callObject(SharedObject& object, SharedPtr<MethodCall> const& call,
                            std::unique_ptr<Element>& response)
{
    const Registration::Call running(object);
    if (!running) {
        closeDescriptors(call->params);
        ExceptionElem exception(kDisappeared, PROXY_CONNECTION_ERROR);
        call->respondFirst(&exception);
        return false;
    }
    if (object.observer->handleMethod(call))
        return false;
    response.reset(object.observer->callMethod(call->objName, call->method, call->params, call->identity));
    return true;
}

void TavixProxy::answerThrown(MethodCall* call, char const* what)
{
    std::string text = "Caught exception while calling " + call->objName + "::" + call->method;
    if (what)
        text.append(": ").append(what);
    std::puts(text.c_str());
    ExceptionElem exception(text, PROXY_EXCEPTION);
    call->respond(&exception);
}

void TavixProxy::_sendMethodResponse(MethodCall* call, Element* result)
{
    SharedPtr<MethodCall> kept;
    {
        Ferrule::Guard<std::mutex> guard(_private->methodLock);
        if (call->pending) {
            kept = *call->place;
            _private->pendingMethods.erase(call->place);
            call->pending = false;
        }
    }
    if (kept.get()) {
        sendResponseOn(call->connectionId, static_cast<unsigned>(call->clientId),
                       static_cast<int>(call->requestId), result);
        return;
    }
    std::fprintf(stderr,
                 "Warning: sendMethodResponse() called for method that wasn't pending\n"
                 "  MethodToken: %p\n"
                 "  Client Id: %d\n"
                 "  Request Id: %d\n",
                 static_cast<void*>(call), call->clientId, static_cast<int>(call->requestId));
    Ferrule::Guard<std::mutex> guard(_private->methodLock);
    std::fprintf(stderr, "  Pending Methods (%zd):\n", _private->pendingMethods.size());
    int position = 0;
    for (SharedPtr<MethodCall> const& pending : _private->pendingMethods)
        std::fprintf(stderr, "    %4d  %p  %s.%s\n", position++, static_cast<void*>(pending.get()),
                     pending->objName.c_str(), pending->method.c_str());
}

void TavixProxy::sendResponse(unsigned clientId, int requestId, Element* result)
{
    sendResponseOn(_private->linkId, clientId, requestId, result);
}

void TavixProxy::sendResponseOn(unsigned connectionId, unsigned clientId, int requestId, Element* result)
{
    if (_log.get())
        _log->logMethodResponse(static_cast<unsigned>(requestId), result);

    EESVisitor visitor;
    visitor.shareLargeValues();
    visitor.startMessage(Response, static_cast<unsigned>(requestId));
    result->accept(&visitor);
    if (clientId != 0)
        visitor.setReplyClientId(clientId);
    EncodedFrame frame;
    if (!visitor.encodeFrame(frame)) {
        std::fprintf(stderr, "TavixProxy: cannot send a response: %s\n", visitor.getError().c_str());
        ExceptionElem exception(visitor.getError(), -1);
        sendResponseOn(connectionId, clientId, requestId, &exception);
        return;
    }
    SharedPtr<Message> message(new Message(frame));

    std::shared_ptr<ProxyLink> link = currentLink();
    if (!link || link->id != connectionId)
        return; // the caller went with its connection
    Connection::Result sent = link->connection.postMessage(message);
    if (sent != 0) {
        ExceptionElem exception(Connection::getResultString(sent), -1);
        sendResponseOn(connectionId, clientId, requestId, &exception);
        return;
    }
    sendQueued(link, message->size);
}

} // namespace Tavix
