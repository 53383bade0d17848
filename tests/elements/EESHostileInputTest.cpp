// Every damaged form of real messages, through both readers: nothing may crash, read beyond the block or leak, and
// the two forms of the peek reader must agree.

#include "elements/SampleTrees.h"
#include "support/SilentOutput.h"
#include "tavix/elements/EESPeekParser.h"
#include "tavix/elements/RoutingMemoInternal.h"

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

// Every field, and where in the message it lies.
std::string everyField(RoutingFields const& fields, unsigned char const* block)
{
    std::string text = std::to_string(fields.valuePosition) + (fields.regular ? " regular" : "");
    for (auto const field : {&RoutingFields::messageType, &RoutingFields::systemRule, &RoutingFields::objName,
                             &RoutingFields::method, &RoutingFields::identity, &RoutingFields::event,
                             &RoutingFields::params, &RoutingFields::data, &RoutingFields::result}) {
        std::optional<std::string_view> const& found = fields.*field;
        if (found && found->empty())
            text += "; empty";
        else
            text += found ? "; " + std::to_string(found->data() - reinterpret_cast<char const*>(block)) +
                                " " + std::string(*found)
                          : ";";
    }
    return text;
}

// A memo that knows `known` reads `next` as one that knows nothing.
void expectMemoAgrees(std::string const& known, std::string const& next)
{
    RoutingMemo memo;
    for (std::string const& message : {known, next}) {
        std::vector<unsigned char> const block(message.begin() + kSizeFieldLength, message.end());
        unsigned const length = static_cast<unsigned>(block.size());
        RoutingFields remembered;
        memo.readRoutingFields(block.data(), length, remembered);
        RoutingFields plain;
        EESPeekParser::readRoutingFields(block.data(), length, kParsePosition, plain);
        ASSERT_EQ(everyField(plain, block.data()), everyField(remembered, block.data()));
    }
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

// Each of these in turn is what the memo knows, and what comes next in every damaged form.
TEST(HostileInput, AfterAMessageThatIsRemembered)
{
    SilentOutput const silent;
    StringElem word("word");
    std::string const plain = call(&word);
    auto const follow = [&](unsigned more, std::string const& nodes) {
        std::string longer = plain + nodes;
        longer[kHeaderLength + 3] = static_cast<char>(longer[kHeaderLength + 3] + more);
        return longer;
    };
    std::vector<std::string> messages = everyMessage();
    messages.insert(messages.end(), {plain, plain + text("tail"), follow(2, text("") + text("")),
                                     follow(2, text("objName") + text("other")), follow(1, text("event")),
                                     follow(2, text("params") + text("again"))});
    for (std::string const& known : messages) {
        for (std::string const& next : messages)
            ASSERT_NO_FATAL_FAILURE(expectMemoAgrees(known, next));
        for (std::size_t at = kHeaderLength; at < known.size(); ++at) {
            ASSERT_NO_FATAL_FAILURE(expectMemoAgrees(known, known.substr(0, at)));
            for (int const change : {1, 2, 4, 6, 0x80, 0xFF}) {
                std::string next = known;
                next[at] = static_cast<char>(next[at] ^ change);
                for (std::string const& first : {known, next})
                    for (std::string const& second : {known, next})
                        ASSERT_NO_FATAL_FAILURE(expectMemoAgrees(first, second)) << at << " ^ " << change;
            }
        }
    }
}

} // namespace
