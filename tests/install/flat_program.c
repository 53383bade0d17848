/* A program in C99 that knows nothing but the flat interface: builds a tree of every kind and reads it back.
 */
#define _POSIX_C_SOURCE 200809L

#include <tavix/capi.h>

#include <stdlib.h>
#include <string.h>

#define EXPECT(condition)                                                                                    \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            fprintf(stderr, "%s:%d: %s does not hold\n", __FILE__, __LINE__, #condition);                    \
            exit(1);                                                                                         \
        }                                                                                                    \
    } while (0)

/* What a program that has its own functions with variable arguments makes of them. */
static void check_forwarded(const char* format, ...)
{
    TvxElement* made[3];
    char* printed = NULL;
    size_t length;
    FILE* stream = open_memstream(&printed, &length);
    int each;
    for (each = 0; each < 3; ++each) {
        va_list args;
        va_start(args, format);
        made[each] = each == 0   ? tvx_string_elem_newvf(format, args)
                     : each == 1 ? tvx_exception_elem_newvf(7, format, args)
                                 : tvx_elem_new_va("i", args);
        va_end(args);
        tvx_elem_fprint(stream, "made", made[each]);
    }
    fclose(stream);
    EXPECT(tvx_elem_strcmp(made[0], "number 5", NULL) == 0);
    EXPECT(tvx_elem_is_exception(made[1]) && tvx_elem_strcmp(made[1], "number 5", NULL) == 0);
    EXPECT(tvx_elem_int_value(made[2], NULL) == 5);
    EXPECT(strstr(printed, "number 5") && strstr(printed, "made"));
    free(printed);
    for (each = 0; each < 3; ++each)
        tvx_elem_free(made[each]);
}

static TvxElement* build(void)
{
    const unsigned char bytes[] = {1, 2, 3};
    TvxElement* list = tvx_list_elem_new();
    TvxElement* map = tvx_map_elem_new();
    EXPECT(tvx_list_elem_append_child(list, tvx_integer_elem_new(-5)));
    EXPECT(tvx_list_elem_append_child(list, tvx_double_elem_new(0.5)));
    EXPECT(tvx_list_elem_add_child(list, 0, tvx_string_elem_newf("%s %d", "number", 1)));
    EXPECT(tvx_map_elem_add_child(map, "list", list));
    EXPECT(tvx_map_elem_add_child(map, "yes", tvx_boolean_elem_new(1)));
    EXPECT(tvx_map_elem_add_child(map, "bytes", tvx_binary_elem_new(bytes, sizeof bytes)));
    EXPECT(tvx_map_elem_add_child(map, "nothing", tvx_null_elem_new()));
    EXPECT(tvx_map_elem_add_child(map, "failure", tvx_exception_elem_newf(7, "no %s", "luck")));
    EXPECT(tvx_map_elem_add_child(map, "file", tvx_file_descriptor_elem_new(1)));
    EXPECT(tvx_map_elem_add_child(map, "more", tvx_elem_new("(i{s}n)", 1, "key", "text")));
    return map;
}

static void check(TvxElement* map)
{
    static const char* const names[] = {"bytes", "failure", "file", "list", "more", "nothing", "yes"};
    TvxElement* list = tvx_map_elem_get_child(map, "list");
    TvxElement* failure = tvx_map_elem_get_child(map, "failure");
    TvxIterator* iterator = tvx_iterator_new(map);
    TvxResult result;
    char text[32];
    unsigned length;
    unsigned seen = 0;
    for (; !tvx_iterator_last(iterator); tvx_iterator_next(iterator), ++seen)
        EXPECT(strcmp(tvx_iterator_deref(iterator), names[seen]) == 0);
    tvx_iterator_free(iterator);
    EXPECT(seen == sizeof names / sizeof *names);

    EXPECT(tvx_elem_int_value(tvx_list_elem_get_child(list, 1), &result) == -5 && result == OPERATION_OK);
    EXPECT(tvx_elem_double_value(tvx_list_elem_get_child(list, 2), NULL) == 0.5);
    EXPECT(strcmp(tvx_elem_strcpy_value(tvx_list_elem_get_child(list, 0), text, sizeof text, NULL),
                  "number 1") == 0);
    EXPECT(tvx_elem_boolean_value(tvx_map_elem_get_child(map, "yes"), NULL));
    EXPECT(tvx_elem_binary_value(tvx_map_elem_get_child(map, "bytes"), &length)[2] == 3 && length == 3);
    EXPECT(tvx_elem_instance_of(tvx_map_elem_get_child(map, "nothing"), "NullElem"));
    EXPECT(tvx_elem_is_exception(failure) && tvx_elem_exception_int_value(failure, NULL) == 7);
    EXPECT(tvx_elem_strcmp(failure, "no luck", NULL) == 0);
    EXPECT(tvx_elem_int_value(tvx_map_elem_get_child(map, "file"), NULL) == 1);
}

static TvxElement* mirrored(TvxElement* map)
{
    TvxPollLoop* loop = tvx_select_loop_glue_new();
    TvxProxy* proxy = tvx_proxy_new(loop);
    RemoteProxyResult result;
    TvxElement* answer;
    tvx_poll_loop_free(loop);
    EXPECT(tvx_proxy_connect(proxy, NULL));
    answer = tvx_proxy_call_with_format(proxy, &result, "mirror", "show", "(is)", 1, "two");
    EXPECT(result == PROXY_OK && tvx_elem_get_num_children(answer) == 2);
    tvx_elem_free(answer);
    answer = tvx_proxy_call_method(proxy, "nobody", "show", NULL, &result);
    EXPECT(strcmp(tvx_proxy_result_to_string(result), "PROXY_OBJECT_NOT_FOUND") == 0);
    EXPECT(tvx_elem_is_exception(answer));
    tvx_elem_free(answer);

    /* A descriptor element asks for the descriptor to be passed, too. */
    tvx_elem_free(tvx_map_elem_remove_child(map, "file", NULL));
    answer = tvx_proxy_call_method(proxy, "mirror", "show", map, &result);
    EXPECT(result == PROXY_OK);
    tvx_map_elem_add_child(answer, "file", tvx_file_descriptor_elem_new(1));
    tvx_proxy_free(proxy);
    return answer;
}

int main(int argc, char** argv)
{
    TvxElement* map = build();
    TvxElement* copy = tvx_elem_clone(map);
    check(map);
    check_forwarded("number %d", 5);
    if (argc > 1 && strcmp(argv[1], "call") == 0) {
        tvx_elem_free(copy);
        copy = mirrored(map);
    }
    tvx_elem_free(map);
    check(copy);
    tvx_elem_free(copy);
    return 0;
}
