/* A caller in plain C: c_caller MARK PROGRAM. Prints a line for every step and ends with 0 when all went well. */
#include <stdio.h>
#include <string.h>

#include "nexlet_client.h"

static int g_gone;

static void NEXLET_CALL on_gone(void* context, nexlet_client client) {
    (void)client;
    ++*(int*)context;
}

static int step(const char* name, nexlet_result result) {
    printf("%s: %s\n", name, nexlet_result_name(result));
    return result == NEXLET_OK;
}

int main(int count, char** values) {
    nexlet_options options = {0};
    nexlet_start_options start = {0};
    nexlet_app_status status = {0};
    nexlet_client client = 0;
    char* word = NULL;
    int32_t ended = 0;

    if (count != 3) {
        fputs("usage: c_caller MARK PROGRAM\n", stderr);
        return 2;
    }
    options.struct_size = sizeof options;
    options.mark = values[1];
    options.service_id = "c";
    options.context = &g_gone;
    options.on_gone = on_gone;
    if (!step("open", nexlet_open(&options, &client))) {
        return 1;
    }
    start.struct_size = sizeof start;
    start.program = values[2];
    start.machine_id = "c-mid";
    start.channel_id = 1;
    start.product = "c";
    start.from = "c";
    status.struct_size = sizeof status;
    if (!step("start", nexlet_start(client, &start, 30000)) || !step("status", nexlet_status(client, 30000, &status)) ||
        !step("open target", nexlet_open_target(client, "{\"type\":\"miniApp\",\"appId\":\"a\",\"taskId\":\"t\",\"from\":\"c\"}", 30000,
                                                &word))) {
        nexlet_close(client);
        return 1;
    }
    printf("mini program installed: %d, word: %s (%s)\n", (int)status.mini_program_installed, word,
           nexlet_word_text(word));
    nexlet_free(word);
    if (!step("exit", nexlet_exit(client, 60000, &ended))) {
        nexlet_close(client);
        return 1;
    }
    printf("ended: %d\n", (int)ended);
    if (!step("close", nexlet_close(client))) {
        return 1;
    }
    printf("gone: %d\n", g_gone);
    return 0;
}
