// Every damaged form of real messages, through both readers: nothing may crash, read beyond the block or leak, and
// the two forms of the peek reader must agree.

#include "elements/SampleTrees.h"
#include "support/SilentOutput.h"
#include "tavix/elements/EESPeekParser.h"

#include <gtest/gtest.h>
#include <optional>

namespace {

using namespace Tavix;
using namespace SampleTrees;

using Fields = std::map<std::string, std::string>;

bool sameField(Fields const& fields, char const* key, std::optional<std::string_view> const& routed)
{
    auto const field = fields.find(key);
    return field == fields.end() ? !routed : routed && *routed == field->second;
}

void expectPeekersAgree(std::vector<unsigned char> const& block)
{
    unsigned const length = static_cast<unsigned>(block.size());
    Fields fields;
    EESPeekParser::readContainer(block.data(), length, kParsePosition, fields);
    RoutingFields routing;
    EESPeekParser::readRoutingFields(block.data(), length, kParsePosition, routing);
    ASSERT_TRUE(sameField(fields, "messageType", routing.messageType));
    ASSERT_TRUE(sameField(fields, "systemRule", routing.systemRule));
    ASSERT_TRUE(sameField(fields, "objName", routing.objName));
    ASSERT_TRUE(sameField(fields, "method", routing.method));
    ASSERT_TRUE(sameField(fields, "identity", routing.identity));
    ASSERT_TRUE(sameField(fields, "event", routing.event));
    ASSERT_TRUE(sameField(fields, "params", routing.params));
    ASSERT_TRUE(sameField(fields, "data", routing.data));
    ASSERT_TRUE(sameField(fields, "result", routing.result));
}

void attack(std::string const& message)
{
    expectPeekersAgree({message.begin() + kSizeFieldLength, message.end()});
    // What was read is a tree like any other: it goes out again.
    if (Tree const tree = parsed(message))
        response(tree.get());
}

TEST(HostileInput, EveryPrefix)
{
    SilentOutput const silent;
    for (std::string const& message : everyMessage())
        for (std::size_t length = kOffsetVersion + 1; length <= message.size(); ++length)
            ASSERT_NO_FATAL_FAILURE(attack(message.substr(0, length))) << length;
}

TEST(HostileInput, EveryByteChanged)
{
    SilentOutput const silent;
    for (std::string message : everyMessage())
        for (std::size_t at = kHeaderLength; at < message.size(); ++at) {
            char const original = message[at];
            for (int change = 1; change < 256; ++change) {
                message[at] = static_cast<char>(original ^ change);
                ASSERT_NO_FATAL_FAILURE(attack(message)) << at << " ^ " << change;
            }
            message[at] = original;
        }
}

TEST(HostileInput, EveryFieldAroundThePowersOfTwo)
{
    SilentOutput const silent;
    Tree const tree = everyKind();
    std::string const message = call(tree.get());
    for (std::size_t at = kHeaderLength; at + 4 <= message.size(); ++at)
        for (unsigned const power : {0u, 3u, 7u, 8u, 16u, 24u, 30u, 31u})
            for (unsigned const number : {(1u << power) - 1, 1u << power, ~0u << power}) {
                std::string changed = message;
                writeBigEndian32(reinterpret_cast<unsigned char*>(&changed[at]), number);
                ASSERT_NO_FATAL_FAILURE(attack(changed)) << at << " = " << number;
            }
}

} // namespace
