// The records of the interface have these sizes and places in every program, whatever made it: the library is compiled
// with this for both processors, and a test compiles it as Microsoft's compiler lays records out.
#include "client/include/nexlet_client.h"

#if defined(_WIN64)
#define BYTES(on32, on64) (on64)
#else
#define BYTES(on32, on64) (on32)
#endif
#define SIZE_IS(type, on32, on64) static_assert(sizeof(type) == BYTES(on32, on64), "the size of " #type)
#define PLACE_IS(type, member, on32, on64) \
    static_assert(offsetof(type, member) == BYTES(on32, on64), "the place of " #type "." #member)

static_assert(sizeof(nexlet_client) == 8 && sizeof(nexlet_request) == 8, "handles");
static_assert(sizeof(nexlet_result) == 4 && sizeof(wchar_t) == 2, "numbers and characters");
SIZE_IS(size_t, 4, 8);

SIZE_IS(nexlet_options, 32, 64);
PLACE_IS(nexlet_options, struct_size, 0, 0);
PLACE_IS(nexlet_options, mark, 4, 8);
PLACE_IS(nexlet_options, service_id, 8, 16);
PLACE_IS(nexlet_options, context, 12, 24);
PLACE_IS(nexlet_options, on_gone, 16, 32);
PLACE_IS(nexlet_options, on_frame, 20, 40);
PLACE_IS(nexlet_options, on_diagnostic, 24, 48);
PLACE_IS(nexlet_options, diagnostic_level, 28, 56);

SIZE_IS(nexlet_start_options, 44, 80);
PLACE_IS(nexlet_start_options, struct_size, 0, 0);
PLACE_IS(nexlet_start_options, flags, 4, 4);
PLACE_IS(nexlet_start_options, program, 8, 8);
PLACE_IS(nexlet_start_options, channel_json, 12, 16);
PLACE_IS(nexlet_start_options, machine_id, 16, 24);
PLACE_IS(nexlet_start_options, channel_id, 20, 32);
PLACE_IS(nexlet_start_options, product, 24, 40);
PLACE_IS(nexlet_start_options, from, 28, 48);
PLACE_IS(nexlet_start_options, type, 32, 56);
PLACE_IS(nexlet_start_options, param_json, 36, 64);
PLACE_IS(nexlet_start_options, program_path, 40, 72);

SIZE_IS(nexlet_outcome, 20, 32);
PLACE_IS(nexlet_outcome, struct_size, 0, 0);
PLACE_IS(nexlet_outcome, result, 4, 4);
PLACE_IS(nexlet_outcome, word, 8, 8);
PLACE_IS(nexlet_outcome, reply_json, 12, 16);
PLACE_IS(nexlet_outcome, error_text, 16, 24);

SIZE_IS(nexlet_request_options, 16, 24);
PLACE_IS(nexlet_request_options, struct_size, 0, 0);
PLACE_IS(nexlet_request_options, timeout_ms, 4, 4);
PLACE_IS(nexlet_request_options, context, 8, 8);
PLACE_IS(nexlet_request_options, on_done, 12, 16);

SIZE_IS(nexlet_app, 68, 128);
PLACE_IS(nexlet_app, struct_size, 0, 0);
PLACE_IS(nexlet_app, flags, 4, 4);
PLACE_IS(nexlet_app, type, 8, 8);
PLACE_IS(nexlet_app, from, 12, 16);
PLACE_IS(nexlet_app, task_id, 16, 24);
PLACE_IS(nexlet_app, app_id, 20, 32);
PLACE_IS(nexlet_app, app_path, 24, 40);
PLACE_IS(nexlet_app, url_scheme, 28, 48);
PLACE_IS(nexlet_app, window_title, 32, 56);
PLACE_IS(nexlet_app, yyb_param, 36, 64);
PLACE_IS(nexlet_app, loading_timeout_ms, 40, 72);
PLACE_IS(nexlet_app, loading_name, 44, 80);
PLACE_IS(nexlet_app, loading_icon_url, 48, 88);
PLACE_IS(nexlet_app, shortcut_name, 52, 96);
PLACE_IS(nexlet_app, shortcut_image_url, 56, 104);
PLACE_IS(nexlet_app, shortcut_success_url, 60, 112);
PLACE_IS(nexlet_app, shortcut_error_url, 64, 120);

SIZE_IS(nexlet_app_question, 44, 72);
PLACE_IS(nexlet_app_question, struct_size, 0, 0);
PLACE_IS(nexlet_app_question, flags, 4, 4);
PLACE_IS(nexlet_app_question, type, 8, 8);
PLACE_IS(nexlet_app_question, from, 12, 16);
PLACE_IS(nexlet_app_question, task_id, 16, 24);
PLACE_IS(nexlet_app_question, window_title, 20, 32);
PLACE_IS(nexlet_app_question, interval_ms, 24, 40);
PLACE_IS(nexlet_app_question, success_url_count, 28, 44);
PLACE_IS(nexlet_app_question, success_urls, 32, 48);
PLACE_IS(nexlet_app_question, error_urls, 36, 56);
PLACE_IS(nexlet_app_question, error_url_count, 40, 64);

SIZE_IS(nexlet_app_status, 28, 28);
PLACE_IS(nexlet_app_status, struct_size, 0, 0);
PLACE_IS(nexlet_app_status, mini_program_installed, 4, 4);
PLACE_IS(nexlet_app_status, mini_program_logged_in, 8, 8);
PLACE_IS(nexlet_app_status, wx_installed, 12, 12);
PLACE_IS(nexlet_app_status, wx_logged_in, 16, 16);
PLACE_IS(nexlet_app_status, yyb_installed, 20, 20);
PLACE_IS(nexlet_app_status, yyb_logged_in, 24, 24);

SIZE_IS(nexlet_helper, 28, 28);
PLACE_IS(nexlet_helper, struct_size, 0, 0);
PLACE_IS(nexlet_helper, process_id, 4, 4);
PLACE_IS(nexlet_helper, connected, 8, 8);
PLACE_IS(nexlet_helper, connections, 12, 12);
PLACE_IS(nexlet_helper, forwarded, 16, 16);
PLACE_IS(nexlet_helper, ended, 20, 20);
PLACE_IS(nexlet_helper, exit_code, 24, 24);
