// Value trees as XML and JSON text: bytes per second and allocations per node, beside Expat alone over the same
// XML, and beside nlohmann-json over the same JSON.

#include "AllocationCounter.h"

#include <tavix/elements/DoubleElem.h>
#include <tavix/elements/ElementHandler.h>
#include <tavix/elements/IntegerElem.h>
#include <tavix/elements/JsonVisitor.h>
#include <tavix/elements/ListElem.h>
#include <tavix/elements/MapElem.h>
#include <tavix/elements/StringElem.h>
#include <tavix/elements/XMLParser.h>
#include <tavix/elements/XMLVisitor.h>
#include <tavix/foundation/ByteArrayInputStream.h>
#include <tavix/foundation/JsonDeserializer.h>

#include <benchmark/benchmark.h>
#include <expat.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

namespace {

using Tavix::Element;

constexpr int kServices = 200;
constexpr int kNodes = 1 + kServices * 7; // each a map with five values and a list

// What a supervisor might know of its services.
std::unique_ptr<Element> makeTree()
{
    auto tree = std::make_unique<Tavix::ListElem>();
    for (int i = 0; i < kServices; ++i) {
        auto* const service = new Tavix::MapElem;
        service->addChild("name", new Tavix::StringElem("service-" + std::to_string(i)));
        service->addChild("description", new Tavix::StringElem("keeps \"number\" <" + std::to_string(i) +
                                                               "> & others alive"));
        service->addChild("pid", new Tavix::IntegerElem(4000 + i));
        service->addChild("cpuSeconds", new Tavix::DoubleElem(i * 1.25));
        service->addChild("path", new Tavix::StringElem("/usr/lib/services/number-" + std::to_string(i)));
        service->addChild("listeners", new Tavix::ListElem);
        tree->add(service);
    }
    return tree;
}

std::string xmlOf(Element& tree)
{
    Tavix::XMLVisitor writer;
    tree.accept(&writer);
    return writer.getResult();
}

Element* readXml(std::string const& document)
{
    Tavix::XMLParser parser;
    return parser.parse_raw(document.data(), static_cast<int>(document.size()));
}

SharedPtr<Element> readJson(std::string const& text)
{
    Ferrule::ByteArrayInputStream stream(text.data(), static_cast<int>(text.size()));
    json::JsonDeserializer deserializer;
    Tavix::ElementHandler handler;
    deserializer.parse(&stream, &handler);
    return handler.getElement();
}

// Reads and forgets.
bool readWithExpatAlone(std::string const& document)
{
    XML_Parser const parser = XML_ParserCreate(nullptr);
    XML_SetElementHandler(
        parser, [](void*, char const*, char const**) {}, [](void*, char const*) {});
    XML_SetCharacterDataHandler(parser, [](void*, char const*, int) {});
    bool const read =
        XML_Parse(parser, document.data(), static_cast<int>(document.size()), 1) == XML_STATUS_OK;
    XML_ParserFree(parser);
    return read;
}

// Runs `step` over a text of `bytes`.
template <class Step>
void measure(benchmark::State& state, std::size_t bytes, Step step)
{
    std::uint64_t const before = Bench::allocationCount();
    for (auto _ : state)
        benchmark::DoNotOptimize(step());
    double const steps = static_cast<double>(state.iterations());
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
    state.counters["allocs/node"] = static_cast<double>(Bench::allocationCount() - before) / steps / kNodes;
}

void writeXmlTree(benchmark::State& state)
{
    auto const tree = makeTree();
    measure(state, xmlOf(*tree).size(), [&] { return xmlOf(*tree); });
}

void readXmlTree(benchmark::State& state)
{
    std::string const document = xmlOf(*makeTree());
    measure(state, document.size(), [&] { return std::unique_ptr<Element>(readXml(document)) != nullptr; });
}

void readXmlExpatAlone(benchmark::State& state)
{
    std::string const document = xmlOf(*makeTree());
    measure(state, document.size(), [&] { return readWithExpatAlone(document); });
}

void writeJsonTree(benchmark::State& state)
{
    auto const tree = makeTree();
    std::size_t const size = Tavix::JsonVisitor::toJsonString(tree.get()).size();
    measure(state, size, [&] { return Tavix::JsonVisitor::toJsonString(tree.get()); });
}

void writeJsonNlohmann(benchmark::State& state)
{
    auto const tree = nlohmann::json::parse(Tavix::JsonVisitor::toJsonString(makeTree().get()));
    measure(state, tree.dump().size(), [&] { return tree.dump(); });
}

void readJsonTree(benchmark::State& state)
{
    std::string const text = Tavix::JsonVisitor::toJsonString(makeTree().get());
    measure(state, text.size(), [&] { return readJson(text).get() != nullptr; });
}

void readJsonNlohmann(benchmark::State& state)
{
    std::string const text = Tavix::JsonVisitor::toJsonString(makeTree().get());
    measure(state, text.size(), [&] { return nlohmann::json::parse(text).size(); });
}

BENCHMARK(writeXmlTree);
BENCHMARK(readXmlTree);
BENCHMARK(readXmlExpatAlone);
BENCHMARK(writeJsonTree);
BENCHMARK(writeJsonNlohmann);
BENCHMARK(readJsonTree);
BENCHMARK(readJsonNlohmann);

} // namespace
