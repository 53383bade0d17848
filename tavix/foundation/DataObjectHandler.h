#ifndef TAVIX_FOUNDATION_DATAOBJECTHANDLER_H
#define TAVIX_FOUNDATION_DATAOBJECTHANDLER_H

#include <tavix/foundation/DataObject.h>
#include <tavix/foundation/Deserializer.h>
#include <tavix/foundation/FixedArrayList.h>

namespace Ferrule {

// Builds a tree of DataObjects from the events of a parse. Lists and objects nest 16 deep; a deeper document
// ends in an error.
class TAVIX_API DataObjectHandler : public Deserializer::Handler {
public:
    DataObjectHandler();
    ~DataObjectHandler() override;

    void reset() override;
    void onInteger(WeakPtr<Deserializer> source, char const* name, int value) override;
    void onInteger64(WeakPtr<Deserializer> source, char const* name, std::int64_t value) override;
    void onDouble(WeakPtr<Deserializer> source, char const* name, double value) override;
    void onString(WeakPtr<Deserializer> source, char const* name, char const* value) override;
    void onBoolean(WeakPtr<Deserializer> source, char const* name, bool value) override;
    void onNull(WeakPtr<Deserializer> source, char const* name) override;
    void arrayStart(WeakPtr<Deserializer> source, char const* name) override;
    void arrayEnd(WeakPtr<Deserializer> source) override;
    void objectStart(WeakPtr<Deserializer> source, char const* name) override;
    void objectEnd(WeakPtr<Deserializer> source) override;
    char const* getErrorString() const override { return _error; }

    // Shares the root; empty when no value was read, or after an error.
    SharedPtr<DataObject> getRoot() const;

private:
    struct DataObjectHandlerInfo {
        DataObject* object; // owned by the tree
    };

    void attach(SharedPtr<DataObject> const& object, char const* name);
    void open(SharedPtr<DataObject> const& object, char const* name);
    void closeTop();

    SharedPtr<DataObject> _root;
    FixedArrayList<SharedPtr<DataObjectHandlerInfo>, 16> _stack;
    unsigned _skippedLevels; // opened after an error, not on the stack
    char const* _error;
};

} // namespace Ferrule

#endif
