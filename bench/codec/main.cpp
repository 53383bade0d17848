// Encoding and parsing of whole messages: how many per second, and how many allocations each takes.

#include "AllocationCounter.h"

#include <tavix/elements/EESFormat.h>
#include <tavix/elements/EESMessageType.h>
#include <tavix/elements/EESParser.h>
#include <tavix/elements/EESVisitor.h>
#include <tavix/elements/IntegerElem.h>
#include <tavix/elements/MapElem.h>
#include <tavix/elements/StringElem.h>

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <memory>
#include <string>

namespace {

using Tavix::Element;

Element* makeSmallCall()
{
    Tavix::MapElem* params = new Tavix::MapElem;
    params->addChild("path", new Tavix::StringElem("/var/log"));
    params->addChild("limit", new Tavix::IntegerElem(10));
    return params;
}

Element* makeMap1000()
{
    Tavix::MapElem* params = new Tavix::MapElem;
    for (int i = 0; i < 1000; ++i)
        params->addChild("entry" + std::to_string(i), new Tavix::IntegerElem(i));
    return params;
}

Element* makeString190K()
{
    return new Tavix::StringElem(std::string(190 * 1024, 'x'));
}

struct EncodedMessage {
    char* data = nullptr;
    int size = 0;

    explicit EncodedMessage(Element* params)
    {
        Tavix::EESVisitor visitor;
        visitor.startMessage(Tavix::CallMethod, 1, "machine", "list");
        params->accept(&visitor);
        size = visitor.encode(&data);
    }
    EncodedMessage(EncodedMessage const&) = delete;
    EncodedMessage& operator=(EncodedMessage const&) = delete;
    ~EncodedMessage() { std::free(data); }
};

std::unique_ptr<Element> parse(EncodedMessage const& message)
{
    auto const* bytes = reinterpret_cast<unsigned char const*>(message.data);
    return std::unique_ptr<Element>(Tavix::EESParser::readContainer(
        bytes + Tavix::kSizeFieldLength, static_cast<unsigned>(message.size) - Tavix::kSizeFieldLength,
        Tavix::kParsePosition, bytes[Tavix::kOffsetVersion]));
}

void report(benchmark::State& state, EncodedMessage const& message, std::uint64_t allocations)
{
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(state.iterations() * message.size);
    state.counters["allocs"] =
        benchmark::Counter(static_cast<double>(allocations) / static_cast<double>(state.iterations()));
}

void encodeMessage(benchmark::State& state, Element* (*make)())
{
    const std::unique_ptr<Element> params(make());
    const std::uint64_t before = Bench::allocationCount();
    for (auto _ : state)
        benchmark::DoNotOptimize(EncodedMessage(params.get()).data);
    report(state, EncodedMessage(params.get()), Bench::allocationCount() - before);
}

void parseMessage(benchmark::State& state, Element* (*make)())
{
    const std::unique_ptr<Element> params(make());
    const EncodedMessage message(params.get());
    if (!parse(message)) {
        state.SkipWithError("the message cannot be parsed");
        return;
    }
    const std::uint64_t before = Bench::allocationCount();
    for (auto _ : state)
        benchmark::DoNotOptimize(parse(message));
    report(state, message, Bench::allocationCount() - before);
}

BENCHMARK_CAPTURE(encodeMessage, small_call, makeSmallCall);
BENCHMARK_CAPTURE(parseMessage, small_call, makeSmallCall);
BENCHMARK_CAPTURE(encodeMessage, map_1000, makeMap1000);
BENCHMARK_CAPTURE(parseMessage, map_1000, makeMap1000);
BENCHMARK_CAPTURE(encodeMessage, string_190KB, makeString190K);
BENCHMARK_CAPTURE(parseMessage, string_190KB, makeString190K);

} // namespace

BENCHMARK_MAIN();
