#ifndef TAVIX_PROGRAMS_TAVIXCTL_SCHEMACHECK_H
#define TAVIX_PROGRAMS_TAVIXCTL_SCHEMACHECK_H

#include <tavix/elements/JsonSchemaValidator.h>
#include <tavix/foundation/SharedPtr.h>

#include <string>

// A schema from a file, and the check of values against it.
class SchemaCheck {
public:
    // `open`: whether objects and lists may have more members than a schema names that is silent about it.
    explicit SchemaCheck(bool open = true) : _open(open) {}

    // Reads the file, "-" for standard input. False with a whole sentence in `error` when it holds no schema.
    bool load(std::string const& file, std::string& error);

    // Lends the value. False when no answer can be found, with the reason.
    bool check(Tavix::Element* value, std::string& error);

    // What the last check has found.
    std::vector<Tavix::JsonSchemaValidator::Error> const& errors() const { return _validator->getErrors(); }

private:
    const bool _open;
    SharedPtr<Tavix::Element> _schema;
    std::unique_ptr<Tavix::JsonSchemaValidator> _validator;
};

#endif
