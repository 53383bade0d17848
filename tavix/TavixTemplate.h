#ifndef TAVIX_TAVIXTEMPLATE_H
#define TAVIX_TAVIXTEMPLATE_H

#include <tavix/RemoteProxyResult.h>
#include <tavix/SharedObjectObserver.h>
#include <tavix/elements/MapElem.h>
#include <tavix/foundation/Export.h>

#include <map>
#include <string>

namespace Tavix {

class TavixProxy;

// A served object whose methods are a table of handler objects. A handler is given the call as a token, so it
// may answer later and from any thread. One method is there beside the table's:
// "generateInterfaceDescription", with a tree that lists the methods.
class TAVIX_API TavixTemplate : public SharedObjectObserver {
public:
    // The handler of one method. Runs on the loop's thread.
    class TAVIX_API BaseMethodCall {
    public:
        // Not called by the library.
        virtual void reserved();

        // True: the call is taken and is answered through the token, now or later. False: it is refused with
        // "Unknown method name", unless it asks for the description.
        virtual bool invoke(TavixTemplate* object, SharedPtr<MethodInvocation> invocation) = 0;

        // Adds what it says of its method, as a rule a MapElem under the method's name, to the map of all
        // methods.
        virtual void describe(char const* name, MapElem* methods) = 0;

        virtual ~BaseMethodCall();
    };

    // The order of the method table.
    struct TAVIX_API ltstr {
        bool operator()(char const* a, char const* b) const;
    };

    TavixTemplate(TavixTemplate const&) = delete;
    TavixTemplate& operator=(TavixTemplate const&) = delete;

    // Takes the object back from the bus, and deletes the handlers.
    ~TavixTemplate() override;

    using SharedObjectObserver::callMethod;
    Element* callMethod(std::string objName, std::string method, Element* params) override;
    bool handleMethod(SharedPtr<MethodInvocation> invocation) override;

    // Not called by the library. 0.
    virtual int reserved();

    // Publishes the object on a proxy (null: the process's own), which is connected to the default socket
    // first when it is not. Lends proxy until stopShare. PROXY_OBJECT_ALREADY_EXISTS when it is shared
    // already.
    RemoteProxyResult startShare(TavixProxy* proxy);
    // PROXY_OBJECT_NOT_FOUND when it is not shared. After any other failure it still counts as shared.
    RemoteProxyResult stopShare();

    // Gives back a new tree {"methods": {name: {...}}}, null when memory runs out.
    Element* generateInterfaceDescription();

protected:
    // Copies name. The derived class adds its methods.
    explicit TavixTemplate(std::string const& name);

    // Lends method, which outlives the object; takes handler. A handler of the same name is deleted.
    void addMethod(char const* method, BaseMethodCall* handler);

    TavixProxy* proxy = nullptr; // null while the object is not shared
    const std::string name;
    std::map<char const*, BaseMethodCall*, ltstr> methods; // keys lent, handlers owned
};

} // namespace Tavix

#endif
