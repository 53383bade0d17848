// Validations per second of schemas as people write them, beside another validator on the same schemas and values.
//
// Each row checks one value against one schema, over and over, and gets the whole list of errors. Both sides have
// prepared what they can: the peer has compiled its schema, and its documents are those of its reader of JSON.

#include <tavix/elements/ElementHandler.h>
#include <tavix/elements/JsonSchemaValidator.h>
#include <tavix/elements/MapElem.h>
#include <tavix/foundation/ByteArrayInputStream.h>
#include <tavix/foundation/JsonDeserializer.h>

#include <benchmark/benchmark.h>
#include <fstream>
#include <nlohmann/json.hpp>
#include <rapidjson/document.h>
#include <string>
#include <valijson/adapters/rapidjson_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validation_results.hpp>
#include <valijson/validator.hpp>

namespace {

struct Sample {
    std::string schema;
    std::string instance;
};

// The first valid value of a file, or the first that has errors.
Sample load(char const* name, bool isValid)
{
    std::ifstream file(std::string(TAVIX_SCHEMA_SAMPLES "/") + name + ".json");
    nlohmann::json const group = nlohmann::json::parse(file)[0];
    nlohmann::json const& instance = isValid ? group["valid"][0] : group["checks"][0]["instance"];
    return {group["schema"].dump(), instance.dump()};
}

SharedPtr<Tavix::Element> parse(std::string const& text)
{
    Ferrule::ByteArrayInputStream stream(text.data(), static_cast<int>(text.size()));
    json::JsonDeserializer deserializer;
    Tavix::ElementHandler handler;
    deserializer.parse(&stream, &handler);
    return handler.getElement();
}

void report(benchmark::State& state, std::size_t errors)
{
    state.SetItemsProcessed(state.iterations());
    state.counters["errors"] = static_cast<double>(errors);
}

void tavix(benchmark::State& state, char const* name, bool isValid)
{
    Sample const sample = load(name, isValid);
    SharedPtr<Tavix::Element> const schema = parse(sample.schema);
    SharedPtr<Tavix::Element> const instance = parse(sample.instance);
    Tavix::JsonSchemaValidator validator(static_cast<Tavix::MapElem*>(schema.get()), true, true);
    if (validator.validate(instance.get(), "#") != isValid)
        state.SkipWithError("the answer is wrong");
    for (auto _ : state)
        benchmark::DoNotOptimize(validator.validate(instance.get(), "#"));
    report(state, validator.getErrors().size());
}

void valijson(benchmark::State& state, char const* name, bool isValid)
{
    Sample const sample = load(name, isValid);
    rapidjson::Document schemaDocument;
    rapidjson::Document instanceDocument;
    schemaDocument.Parse(sample.schema.c_str());
    instanceDocument.Parse(sample.instance.c_str());
    valijson::Schema schema;
    valijson::SchemaParser parser(valijson::SchemaParser::kDraft4);
    parser.populateSchema(valijson::adapters::RapidJsonAdapter(schemaDocument), schema);
    valijson::Validator validator(valijson::Validator::kStrongTypes);
    valijson::adapters::RapidJsonAdapter const instance(instanceDocument);
    std::size_t errors = 0;
    for (auto _ : state) {
        valijson::ValidationResults results;
        if (validator.validate(schema, instance, &results) != isValid) {
            state.SkipWithError("the answer is wrong");
            break;
        }
        errors = results.numErrors();
    }
    report(state, errors);
}

#define TAVIX_ROWS(name)                                                                                     \
    BENCHMARK_CAPTURE(tavix, name, #name, true);                                                             \
    BENCHMARK_CAPTURE(valijson, name, #name, true);                                                          \
    BENCHMARK_CAPTURE(tavix, name##_broken, #name, false);                                                   \
    BENCHMARK_CAPTURE(valijson, name##_broken, #name, false)

TAVIX_ROWS(package);
TAVIX_ROWS(geojson);
TAVIX_ROWS(api);

} // namespace

BENCHMARK_MAIN();
