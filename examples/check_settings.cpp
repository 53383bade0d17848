// Reads settings from a file of JSON, checks them against a JSON Schema in another one, and prints them as XML.
#include <tavix/tavix.h>

#include <cstdio>

using namespace Tavix;

static SharedPtr<Element> readJson(char const* path)
{
    Ferrule::FileInputStream file(std::fopen(path, "r"));
    json::JsonDeserializer reader;
    ElementHandler handler;
    if (reader.parse(&file, &handler) == json::JsonDeserializer::kOk)
        return handler.getElement();
    std::fprintf(stderr, "%s: %s\n", path, reader.getErrorString());
    return {};
}

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: check_settings SCHEMA SETTINGS\n");
        return 2;
    }
    SharedPtr<Element> schema = readJson(argv[1]), settings = readJson(argv[2]);
    if (!settings.get() || !schema.get() || !schema->isMap())
        return 2;
    JsonSchemaValidator validator(static_cast<MapElem*>(schema.get()), true, true);
    if (!validator.validate(settings.get(), "#")) {
        for (JsonSchemaValidator::Error const& error : validator.getErrors())
            std::fprintf(stderr, "%s: %s: %s\n", argv[2], error.path.c_str(), error.message.c_str());
        return 1;
    }
    XMLVisitor writer;
    settings->accept(&writer);
    std::puts(writer.getResult().c_str());
    return 0;
}
