#ifndef TAVIX_ELEMENTS_JSONSCHEMARUNINTERNAL_H
#define TAVIX_ELEMENTS_JSONSCHEMARUNINTERNAL_H

// What a validator remembers while it runs.
//
// Steps. Each recursion step of validate() stands on the stack as a Step, linked to the one above. So a reference
// can see that it leads back to a schema that is under way for the same value, and depth is counted.
//
// Outcomes. A chain of references that leads back fails with one error. From then on the value's outcome against each
// schema that a reference leads to is remembered and not worked out again: otherwise every way round would be tried. The same
// begins for all values once a run has followed kMaxFollowed references, which bounds schemas that refer to
// themselves twice for each child. What has failed is worked out again a few times when its errors have been taken back,
// so that they can be in the list.
//
// Tentative errors. Inside "anyOf", "oneOf" and "not" an error may be taken back, and most are. There they are kept
// as bytes in one buffer and become entries of the list only when the outermost of these ends.
//
// What a schema has. Each step looks at every key of its schema once. The children that this finds are kept until the
// next step does the same, and the checks that run up to then need no look-up. Targets of references are kept for the
// run. Both hold because nothing changes the schema tree during a run.
//
// Opened schemas. The addition that "dependencies" makes to the schema tree waits for the end of the run, because the
// maps of the tree are being walked, and the instance may be the schema itself.

#include "tavix/elements/JsonSchemaKindInternal.h"
#include "tavix/elements/JsonSchemaPatternsInternal.h"
#include "tavix/elements/JsonSchemaValidator.h"
#include "tavix/elements/Limits.h"

#include <array>
#include <cstdint>
#include <map>
#include <unordered_set>
#include <utility>

namespace Tavix {
namespace Schema {

// Steps one inside the other, over all values: what fits a small stack.
constexpr unsigned kMaxSteps = 4 * kMaxNesting;
constexpr std::size_t kMaxFollowed = 65536;
constexpr unsigned kMaxRepeats = 8;

enum Keyword : unsigned {
    kType,
    kEnum,
    kAllOf,
    kAnyOf,
    kOneOf,
    kNot,
    kRef,
    kRequired,
    kMinProperties,
    kMaxProperties,
    kDependencies,
    kProperties,
    kPatternProperties,
    kAdditionalProperties,
    kMinItems,
    kMaxItems,
    kItems,
    kAdditionalItems,
    kUniqueItems,
    kMinimum,
    kMaximum,
    kExclusiveMinimum,
    kExclusiveMaximum,
    kMultipleOf,
    kMinLength,
    kMaxLength,
    kPattern,
    kFormat,
    kKeywordCount,
    kNoKeyword = kKeywordCount
};

char const* nameOf(Keyword keyword);

// A set of keywords.
inline bool has(unsigned keywords, Keyword keyword)
{
    return (keywords >> keyword & 1U) != 0;
}

// A number as printf's %f has it, with "." in every locale.
std::string numberText(double value);

} // namespace Schema

struct TAVIX_HIDDEN JsonSchemaValidator::Run {
    struct Tentative {
        std::size_t messageAt; // in text
        std::size_t pathAt;
        std::size_t end;
        MapElem* schema;
    };
    static constexpr std::size_t kNoError = static_cast<std::size_t>(-1);

    struct Outcome {
        bool passed = false;
        std::size_t errorAt =
            kNoError;         // the last of its errors in the list; kNoError when they are not there
        unsigned repeats = 0; // because the errors were not there
    };
    using Check = std::pair<Element const*, MapElem const*>;

    Step* top = nullptr;
    unsigned users = 0;

    unsigned combiners = 0; // under way; errors are tentative while there are any
    std::string text;
    std::vector<Tentative> tentative;

    std::size_t followed = 0;
    std::map<Check, Outcome> outcomes;
    std::vector<Check> failed; // in the order of their errors

    std::unordered_set<MapElem const*> opened;

    MapElem const* scanned = nullptr;
    unsigned scannedKeywords = 0;
    std::array<Element*, Schema::kKeywordCount> scannedChildren;

    struct Resolved {
        std::size_t inRun = 0;
        MapElem const* schema = nullptr; // that has the reference
        MapElem* target = nullptr;
    };
    std::size_t number = 1; // of this run
    std::array<Resolved, 64> resolved;

    Schema::Patterns patterns;

    std::size_t errorCount(JsonSchemaValidator const& validator) const
    {
        return validator._errors.size() + tentative.size();
    }
    // The keywords that the schema has.
    unsigned scan(MapElem const* schema);
    Element* child(MapElem const* schema, Schema::Keyword keyword) const
    {
        if (schema != scanned)
            return schema->find(Schema::nameOf(keyword));
        return Schema::has(scannedKeywords, keyword) ? scannedChildren[keyword] : nullptr;
    }
    Resolved& resolvedFor(MapElem const* schema)
    {
        return resolved[reinterpret_cast<std::uintptr_t>(schema) / sizeof(MapElem) % resolved.size()];
    }

    bool isUnderWay(Element const* instance, MapElem const* schema) const;
    bool remembers(Element const* instance) const;
    void remember(Check const& check, bool passed, std::size_t errorAt);
    void forgetErrorsFrom(std::size_t position);
    void finish() noexcept;
};

// An operation that the end of the run has to wait for.
class TAVIX_HIDDEN JsonSchemaValidator::Use {
public:
    explicit Use(Run& run) : _run(run) { ++run.users; }
    ~Use()
    {
        if (--_run.users == 0)
            _run.finish();
    }
    Use(Use const&) = delete;
    Use& operator=(Use const&) = delete;

private:
    Run& _run;
};

struct TAVIX_HIDDEN JsonSchemaValidator::Step {
    Step(Run& owner, Element* value, MapElem* with)
        : run(owner), use(owner), up(owner.top), instance(value), schema(with), depth(up ? up->depth + 1 : 1),
          chain(up && up->instance == value ? up->chain + 1 : 1)
    {
        run.top = this;
    }
    ~Step() { run.top = up; }
    Step(Step const&) = delete;
    Step& operator=(Step const&) = delete;

    Run& run;
    Use const use;
    Step* const up;
    Element* const instance;
    MapElem* const schema;
    unsigned const depth; // steps in all, from 1
    unsigned const chain; // steps for this value, from 1
};

// Between its begin and its end errors can be taken back.
class TAVIX_HIDDEN JsonSchemaValidator::Tentatively {
public:
    explicit Tentatively(JsonSchemaValidator& validator);
    ~Tentatively(); // an exception passes: the list has what was found before it, as far as memory allows
    Tentatively(Tentatively const&) = delete;
    Tentatively& operator=(Tentatively const&) = delete;

    void rollBack();
    // With the outermost one what is left becomes part of the list. Gives `passed` back.
    bool end(bool passed);

private:
    void _enterInList();

    JsonSchemaValidator& _validator;
    Use const _use;
    std::size_t const _from;
    bool _isUnderWay = true;
};

} // namespace Tavix

#endif
