// The six formats, put together from the rules of their grammars.

#include "tavix/elements/JsonSchemaPatternsInternal.h"
#include "tavix/elements/JsonSchemaValidator.h"

// Addresses.
#define DEC_OCTET "([0-9]|[1-9][0-9]|1[0-9][0-9]|2[0-4][0-9]|25[0-5])"
#define IPV4 "(" DEC_OCTET "\\." DEC_OCTET "\\." DEC_OCTET "\\." DEC_OCTET ")"
#define H16 "([0-9a-fA-F]{1,4})"
#define H16C "(" H16 ":)"
#define LS32 "((" H16 ":" H16 ")|" IPV4 ")"
// clang-format off
#define IPV6                           \
    "("                                \
    "(" H16C "{6}" LS32 ")|"           \
    "(::" H16C "{5}" LS32 ")|"         \
    "((" H16C "{1}|:):" H16C "{4}" LS32 ")|" \
    "((" H16C "{2}|:):" H16C "{3}" LS32 ")|" \
    "((" H16C "{3}|:):" H16C "{2}" LS32 ")|" \
    "((" H16C "{4}|:):" H16C "{1}" LS32 ")|" \
    "((" H16C "{5}|:):" LS32 ")|"      \
    "((" H16C "{6}|:):" H16 ")|"       \
    "((" H16C "{7}|:):)"               \
    ")"
// clang-format on

// Parts of a URI.
#define UNRESERVED "([0-9a-zA-Z]|[-\\._~])"
#define PCT_ENCODED "(%[0-9a-fA-F][0-9a-fA-F])"
#define SUB_DELIMS "[!\\$&'\\(\\)\\*\\+,;=]"
#define IPV_FUTURE "(V[0-9a-fA-F]+\\.(" UNRESERVED "|" SUB_DELIMS "|:)+)"
#define REG_NAME "(" UNRESERVED "|" PCT_ENCODED "|" SUB_DELIMS ")*"
#define HOST "((\\[(?:" IPV6 "|" IPV_FUTURE ")\\])|" IPV4 "|" REG_NAME ")"
#define USERINFO "((" UNRESERVED "|" PCT_ENCODED "|" SUB_DELIMS "|:)*@)?"
#define AUTHORITY "(//" USERINFO HOST "(:([0-9]*))?)"
#define PCHAR "(" UNRESERVED "|" PCT_ENCODED "|" SUB_DELIMS "|:|@)"
#define PCHAR_NO_COLON "(" UNRESERVED "|" PCT_ENCODED "|" SUB_DELIMS "|@)"
#define PATH_ABEMPTY "(/" PCHAR "*)*"
#define PATHS_BEGINNING_WITH(pchar)                                                                          \
    "(" PATH_ABEMPTY "|/(" PCHAR "+" PATH_ABEMPTY ")?|" pchar "+" PATH_ABEMPTY "|)"
#define QUERY "(\\?(" PCHAR "|/|\\?)*)?"
#define FRAGMENT "(#(" PCHAR "|/|\\?)*)?"
#define SCHEME "([a-zA-Z](?:[0-9a-zA-Z]|[\\+-\\.])*)"

#define ATOM "[^()<>\\[\\]:;@\\\\,\\.\"]"
#define LABEL "([a-zA-Z](?:(?:[0-9a-zA-Z]|-){0,61}[0-9a-zA-Z])?)"

namespace Tavix {

char const JsonSchemaValidator::date_time_regex[] =
    "[0-9]{4}-(0[0-9]|1[0-2])-((?:0[1-9])|(?:[1-2][0-9])|(?:3[0-1]))(T|t)"
    "((?:[0-1][0-9])|(?:2[0-3])):([0-5][0-9]):([0-5][0-9])(\\.[0-9]+)?"
    "(Z|z|(\\+|-)((?:[0-1][0-9])|(?:2[0-3])):([0-5][0-9]))";
char const JsonSchemaValidator::email_regex[] = ATOM "+(\\." ATOM "+)*@" HOST;
char const JsonSchemaValidator::hostname_regex[] = "(" LABEL "\\.)*" LABEL;
char const JsonSchemaValidator::ipv4_regex[] = IPV4;
char const JsonSchemaValidator::ipv6_regex[] = IPV6;
char const JsonSchemaValidator::uri_regex[] = "(" SCHEME ":" AUTHORITY PATHS_BEGINNING_WITH(PCHAR)
    QUERY FRAGMENT "|" AUTHORITY PATHS_BEGINNING_WITH(PCHAR_NO_COLON) QUERY FRAGMENT ")";

static_assert(sizeof JsonSchemaValidator::uri_regex == 6326 + 1);

namespace Schema {

namespace {

template <char const* text>
Pattern const* compiled()
{
    static Pattern const pattern(text, Pattern::kOnlyGroup);
    return &pattern;
}

} // namespace

Pattern const* findFormat(std::string_view name)
{
    using Formats = JsonSchemaValidator;
    if (name == "date-time")
        return compiled<Formats::date_time_regex>();
    if (name == "email")
        return compiled<Formats::email_regex>();
    if (name == "hostname")
        return compiled<Formats::hostname_regex>();
    if (name == "ipv4")
        return compiled<Formats::ipv4_regex>();
    if (name == "ipv6")
        return compiled<Formats::ipv6_regex>();
    if (name == "uri")
        return compiled<Formats::uri_regex>();
    return nullptr;
}

} // namespace Schema

} // namespace Tavix
