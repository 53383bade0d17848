#ifndef TAVIX_ELEMENTS_JSONSCHEMAVALIDATOR_H
#define TAVIX_ELEMENTS_JSONSCHEMAVALIDATOR_H

#include <tavix/elements/Element.h>
#include <tavix/foundation/Export.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Tavix {

class ListElem;
class MapElem;
class StringElem;
namespace Schema {
enum Keyword : unsigned;
enum class Kind;
} // namespace Schema

// Checks a value tree against a schema that is a value tree itself, by the keywords of JSON Schema draft 4 and the
// draft's predecessor's type name "any":
//
//     JsonSchemaValidator validator(schema, true, true);
//     if (!validator.validate(settings, "#"))
//         for (JsonSchemaValidator::Error const& error : validator.getErrors())
//             std::cerr << error.path << ": " << error.message << '\n';
//
// It departs from the draft in these points. References stay inside the schema tree, and "$ref" does not hide the
// keywords beside it. An unknown "format" is an error. Lengths of strings are in bytes. An array shorter than a list
// under "items" fails. An integer and a double are never equal. A list of types does not let "number" accept an
// integer, a single type does.
//
// A schema is not checked ahead of use: what is wrong in it is an error of the list when a value reaches it. An
// instance or a schema that nests deeper than our readers allow, and references that lead back to a schema that is
// under way for the same value, are errors of the list too.
//
// One thread at a time. "dependencies" may add a child to the schema tree, so validators that share one take turns
// as well. Matching a pattern that backtracks without end throws std::runtime_error, within seconds; the validator
// can be used afterwards. Nothing else throws but std::bad_alloc.
class TAVIX_API JsonSchemaValidator {
public:
    static constexpr char kBadSchemaReference[] = "Bad schema reference '%s'.";
    static constexpr char kInvalidEnum[] = "Value does not match any valid enum choices.";
    static constexpr char kRequiredProperty[] = "Property '%s' is required.";
    static constexpr char kUnexpectedProperty[] = "Unexpected property '%s'.";
    static constexpr char kInvalidPropertyPattern[] = "Invalid property pattern '%s'.";
    static constexpr char kObjectMinProperties[] = "Object must have at least %d items.";
    static constexpr char kObjectMaxProperties[] = "Object must not have more than %d items.";
    static constexpr char kArrayMinItems[] = "Array must have at least %d items.";
    static constexpr char kArrayMaxItems[] = "Array must not have more than %d items.";
    static constexpr char kArrayDuplicateItem[] = "Array contains duplicate value '%s'.";
    static constexpr char kStringMinLength[] = "String must be at least %d characters long.";
    static constexpr char kStringMaxLength[] = "String must not be more than %d characters long.";
    static constexpr char kInvalidStringPattern[] = "Invalid String pattern '%s'.";
    static constexpr char kInvalidStringFormat[] = "Invalid String format '%s'.";
    static constexpr char kStringPattern[] = "String must match the pattern: '%s'.";
    static constexpr char kStringFormat[] = "String must match the format: '%s'.";
    static constexpr char kNumberMinimum[] = "Value must not be less than %f.";
    static constexpr char kNumberMaximum[] = "Value must not be greater than %f.";
    static constexpr char kNumberMinimumExclusive[] = "Value must not be less than or equal to %f.";
    static constexpr char kNumberMaximumExclusive[] = "Value must not be greater than or equal to %f.";
    static constexpr char kNumberMultipleOf[] = "Value must be a multiple of %f.";
    static constexpr char kInvalidType[] = "Expected '%s' but got '%s'.";
    static constexpr char kInvalidSchema[] = "Provided schema is invalid - '%s'.";
    static constexpr char kInvalidDependencySchema[] =
        "Provided schema is invalid - invalid dependency '%s'.";
    static constexpr char kInvalidInstance[] = "Provided instance is invalid: '%s'.";
    static constexpr char kInvalidAllOf[] = "Provided instance must validate against all of the schemas.";
    static constexpr char kInvalidAnyOf[] = "Provided instance must validate against any of the schemas.";
    static constexpr char kInvalidOneOf[] = "Provided instance must validate against exactly one schema.";
    static constexpr char kInvalidNot[] = "Provided instance must not validate against the schema.";
    static constexpr char kUnknownType[] = "Unknown instance: '%s'.";

    // The formats of these names, as Perl regular expressions for a whole text (RFC 3339, 5321, 1034, 791, 4291
    // and 3986, each with the exceptions that docs/decisions.md lists).
    static char const date_time_regex[];
    static char const email_regex[];
    static char const hostname_regex[];
    static char const ipv4_regex[];
    static char const ipv6_regex[];
    static char const uri_regex[];

    struct TAVIX_API Error {
        std::string message;       // finished
        std::string path;          // the place in the instance
        MapElem* schema = nullptr; // whose keyword failed; lent, valid until the next run at most

        Error() = default;
        Error(std::string message, std::string path, MapElem* schema);

        // By path, then by message, byte by byte.
        bool operator<(Error const& other) const;
    };

    // A place in the instance: any text, or a child of a place. "#/a/2" is the third element of the list under the
    // key "a" of the root; names are not escaped. It becomes a text when an error is recorded, not before. Lends
    // everything that it is made from.
    class TAVIX_API Path {
    public:
        Path(std::string const& text)
            : _name(text) {}                    // NOLINT(google-explicit-constructor): a text is a path
        Path(char const* text) : _name(text) {} // NOLINT(google-explicit-constructor)
        Path(Path const& parent, std::string_view name)
            : _parent(&parent), _name(name), _level(parent._level + 1)
        {
        }
        Path(Path const& parent, std::size_t index)
            : _parent(&parent), _index(static_cast<int>(index)), _level(parent._level + 1)
        {
        }

        std::string text() const;
        void appendTo(std::string& text) const;
        // How many children it goes down from the text that it begins with.
        unsigned level() const { return _level; }

    private:
        Path const* _parent = nullptr;
        std::string_view _name;
        int _index = -1; // in place of a name
        unsigned _level = 0;
    };

    // The names of an object's children that "properties" and "patternProperties" have dealt with; lent.
    using Names = std::vector<std::string_view>;

    // Lends: the schema must outlive the validator. The flags say what "additionalProperties" and
    // "additionalItems" mean where a schema is silent: true leaves objects and lists open, as the draft does.
    JsonSchemaValidator(MapElem* schema, bool additionalPropertiesDefault, bool additionalItemsDefault);
    ~JsonSchemaValidator();
    JsonSchemaValidator(JsonSchemaValidator const&) = delete;
    JsonSchemaValidator& operator=(JsonSchemaValidator const&) = delete;

    // Whether the instance passes the part of the schema that the reference names: "#" is the whole, and
    // "#/definitions/point" an example of a part (RFC 6901 in the form for URIs). Empties the list of errors
    // first. A reference that does not begin with "#" or "#/" checks nothing and passes. Lends the instance.
    bool validate(Element* instance, std::string const& schemaRef);

    // In the order in which they were found; lent until the next validate.
    std::vector<Error> const& getErrors() const { return _errors; }

    // The steps that validate() is made of. Each adds to the list what it finds, at the path and with the schema
    // that it is given, and returns whether the instance passed. None of them clears the list.
    bool validate(Element* instance, Path const& path, MapElem* schema);
    bool validateAny(Element* instance, Path const& path, MapElem* schema);
    void addError(std::string const& message, Path const& path, MapElem* schema);

    // Lends the target. It can be something other than a map, after an error that says so, and is only good for
    // validate() then. False without an error when the text is no reference.
    bool findSchemaReference(std::string const& ref, Path const& path, MapElem*& target);

    // "null", "boolean", "integer", "number", "string", "object", "array"; "<unknown>" for other kinds, "<null>"
    // for a null pointer, which the second form records.
    static std::string getJsonSchemaType(Element* instance);
    std::string getJsonSchemaType(Element* instance, Path const& path, MapElem* schema);

    // Deletes the schemas that the validator has made for lists under "dependencies".
    void deleteTempSchemas();

    // "#/a/b" in tokens: "#", "a", "b", decoded one by one. Empty when the text is no reference.
    static std::vector<std::string> stringToPath(std::string const& text);
    static std::string pathToString(std::vector<std::string> const& tokens);
    // %xx, then ~1, then ~0. A bad percent sequence ends the decoding.
    static void decodeJsonPointer(std::string& token);

    // Keywords for every kind of value.
    bool validateSchemaType(Element* instance, Path const& path, MapElem* schema);
    bool validateType(Element* instance, std::string_view actual, Path const& path, MapElem* schema);
    bool validateTypes(Element* instance, std::string_view actual, Path const& path, MapElem* schema);
    bool validateEnum(Element* instance, Path const& path, MapElem* schema);
    bool validateAllOf(Element* instance, Path const& path, MapElem* schema);
    bool validateAnyOf(Element* instance, Path const& path, MapElem* schema);
    bool validateOneOf(Element* instance, Path const& path, MapElem* schema);
    bool validateNot(Element* instance, Path const& path, MapElem* schema);

    // Deep. The first form records values of unknown kind that it meets.
    bool valuesEqual(Element* a, Element* b, Path const& path, MapElem* schema);
    static bool valuesEqual(Element* a, Element* b);

    // Objects.
    bool validateObject(MapElem* instance, Path const& path, MapElem* schema);
    bool validateRequired(MapElem* instance, Path const& path, MapElem* schema);
    bool validateMinProperties(MapElem* instance, Path const& path, MapElem* schema);
    bool validateMaxProperties(MapElem* instance, Path const& path, MapElem* schema);
    bool validateDependencies(MapElem* instance, Path const& path, MapElem* schema);
    bool validateProperties(MapElem* instance, Path const& path, MapElem* schema, Names& covered);
    bool validatePatternProperties(MapElem* instance, Path const& path, MapElem* schema, Names& covered);
    bool validateAdditionalProperties(MapElem* instance, Path const& path, MapElem* schema,
                                      Names const& covered);
    bool schemaAllowsAdditionalProperties(MapElem* schema, Path const& path);
    static MapElem* getAdditionalPropertiesSchema(MapElem* schema);

    // Lists.
    bool validateArray(ListElem* instance, Path const& path, MapElem* schema);
    bool validateMinItems(ListElem* instance, Path const& path, MapElem* schema);
    bool validateMaxItems(ListElem* instance, Path const& path, MapElem* schema);
    bool validateItems(ListElem* instance, Path const& path, MapElem* schema);
    bool validateTuple(ListElem* instance, Path const& path, MapElem* schema);
    bool validateUniqueItems(ListElem* instance, Path const& path, MapElem* schema);
    bool schemaAllowsAdditionalItems(MapElem* schema, Path const& path);
    static MapElem* getAdditionalItemsSchema(MapElem* schema);

    // Numbers and texts.
    bool validateNumber(Element* instance, Path const& path, MapElem* schema);
    bool validateMinimum(double value, Path const& path, MapElem* schema);
    bool validateMaximum(double value, Path const& path, MapElem* schema);
    bool validateMultipleOf(double value, Path const& path, MapElem* schema);
    bool validateString(StringElem* instance, Path const& path, MapElem* schema);
    bool validateMinLength(std::string_view value, Path const& path, MapElem* schema);
    bool validateMaxLength(std::string_view value, Path const& path, MapElem* schema);
    bool validatePattern(std::string_view value, Path const& path, MapElem* schema);
    bool validateFormat(std::string_view value, Path const& path, MapElem* schema);

private:
    struct Run;
    struct Step;
    class Use;
    class Comparison;
    class Tentatively;

    // Record an error and give false back, which the check ends with.
    bool _fail(char const* message, Path const& path, MapElem* schema, std::string_view first = {},
               std::string_view second = {});
    bool _refuse(Schema::Keyword keyword, Path const& path, MapElem* schema);
    bool _validateAny(Element* instance, Path const& path, MapElem* schema, unsigned keywords);
    bool _validateObject(MapElem* instance, Path const& path, MapElem* schema, unsigned keywords);
    bool _validateArray(ListElem* instance, Path const& path, MapElem* schema, unsigned keywords);
    bool _validateNumber(Element* instance, Path const& path, MapElem* schema, unsigned keywords);
    bool _validateString(StringElem* instance, Path const& path, MapElem* schema, unsigned keywords);
    bool _resolve(std::string_view ref, Path const& path, MapElem*& target);
    bool _targetOf(MapElem* schema, Path const& path, MapElem*& target);
    bool _follow(Element* instance, Path const& path, MapElem* schema);
    bool _refuseReference(Element* instance, Path const& path, MapElem* schema, MapElem* target);
    bool _checkDepth(Step const& step, Path const& path);
    bool _failDepth(char const* message, Path const& path, MapElem* schema, unsigned levels);
    void _reportKind(Schema::Kind kind, Element* instance, Path const& path, MapElem* schema);
    bool _hasAll(MapElem* instance, ListElem const* names) const;
    bool _validateDependency(MapElem* instance, std::string const& name, Element* dependency,
                             Path const& path, MapElem* schema);
    bool _validateProperties(MapElem* instance, Path const& path, MapElem* schema, Names* covered);
    bool _validatePatternProperties(MapElem* instance, Path const& path, MapElem* schema, Names* covered);
    bool _allowsAdditional(Schema::Keyword keyword, bool byDefault, Path const& path, MapElem* schema);
    bool _validateMinCount(Element* instance, Schema::Keyword keyword, char const* message, Path const& path,
                           MapElem* schema);
    bool _validateMaxCount(Element* instance, Schema::Keyword keyword, char const* message, Path const& path,
                           MapElem* schema);

    // Constant after construction, borrowed.
    MapElem* _schema;
    bool _additionalPropertiesDefault;
    bool _additionalItemsDefault;

    // The outcome of the last run. The temporary schemas are owned.
    std::vector<Error> _errors;
    std::vector<Element*> _tempSchemas;

    // Scratch.
    std::unique_ptr<Run> _run;
};

// The name of an error code of Boost.Regex (boost::regex_constants::error_type), as "error_paren"; "unknown" for
// every other.
TAVIX_API char const* errorToStr(int code);

} // namespace Tavix

#endif
