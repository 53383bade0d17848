#ifndef TAVIX_SHAREDOBJECTOBSERVER_H
#define TAVIX_SHAREDOBJECTOBSERVER_H

#include <tavix/elements/Element.h>
#include <tavix/foundation/Export.h>
#include <tavix/foundation/SharedPtr.h>

#include <string>

namespace Tavix {

// The interface of a served object. An application derives from it and publishes the object with
// TavixProxy::addSharedObject; the proxy does not own it. All operations run on the thread that runs the
// loop, with no lock of the proxy held: they may call other objects, and share or remove objects, this one
// too.
class TAVIX_API SharedObjectObserver {
public:
    // The token of one inbound call. Whoever keeps it may answer later and from any thread.
    class TAVIX_API MethodInvocation {
    public:
        virtual ~MethodInvocation();

        virtual std::string const& getObjectName() = 0;
        virtual std::string const& getMethodName() = 0;
        // What the calling proxy gave as its identity; empty as a rule.
        virtual std::string const& getIdentity() = 0;
        // Lends the parameters, valid as long as the token; never null: a call without a value has a
        // NullElem.
        virtual Element* getParams() = 0;
        // Answers the call. Lends result: the caller keeps and deletes it. The first answer counts; a second
        // is reported on standard error and dropped. An answer to a caller or connection that has gone is
        // dropped.
        virtual void respond(Element* result) = 0;
    };

    virtual ~SharedObjectObserver();

    // Answers a call at once. Lends params for the call. Gives the proxy a new element, an ExceptionElem for
    // a failure; null is a fault that stops the process. Open descriptors in params (FileDescriptorElem) belong to
    // the object, which closes them, those that it did not ask for too: see closeDescriptors. They have the
    // close-on-exec flag. Default: the exception "Unknown method", code
    // -1, and such descriptors are closed.
    virtual Element* callMethod(std::string objName, std::string method, Element* params);

    // The same with the caller's identity. Default: the form above.
    virtual Element* callMethod(std::string objName, std::string method, Element* params,
                                std::string const& identity);

    // Asked first. True: the object has taken the call and answers through the token, now or later; a token
    // that is dropped unanswered leaves the caller waiting. False: the proxy goes on to callMethod. Default:
    // false.
    virtual bool handleMethod(SharedPtr<MethodInvocation> invocation);
};

} // namespace Tavix

#endif
