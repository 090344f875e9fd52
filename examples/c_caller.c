/* A whole caller in C: starts the helper, asks what is installed, opens a mini-program and waits until it is open.
 *
 *   c_caller [PROGRAM [WAIT_MS]]    PROGRAM is the full path of nexlet.exe; without it the one beside nexlet_client.dll.
 *                                   WAIT_MS is the limit of each step, 30000 without it
 *
 * Exit codes: 0 the mini-program is open; 1 a step failed, and the last line says which and why; 2 usage. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <nexlet_client.h>

#define TARGET "\"type\":\"miniApp\",\"from\":\"example\",\"taskId\":\"c\""

/* Prints how a step went; 1 when it went well. */
static int step(const char* name, nexlet_result result) {
    printf("%s: %s\n", name, nexlet_result_name(result));
    fflush(stdout);
    if (result != NEXLET_OK) {
        /* Which argument, which key, or the system's words; of the latest failure on this thread. */
        printf("%s: %s\n", name, nexlet_last_error_text());
    }
    return result == NEXLET_OK;
}

/* Everything between start and exit; 1 when the mini-program is open. */
static int use_helper(nexlet_client client, uint32_t wait_ms) {
    nexlet_app_status status = {0};
    char* word = NULL;
    int open = 0;

    status.struct_size = sizeof status;
    if (!step("status", nexlet_status(client, wait_ms, &status))) {
        return 0;
    }
    printf("mini-program application installed: %d\n", (int)status.mini_program_installed);
    /* The reply to an open says whether it was accepted. How it ends is asked for. */
    if (!step("open", nexlet_open_target(client, "{" TARGET ",\"appId\":\"wx0123456789abcdef\",\"appPath\":\"index\"}",
                                         wait_ms, &word))) {
        return 0;
    }
    printf("accepted: %s (%s)\n", word, nexlet_word_text(word));
    nexlet_free(word);
    if (!step("wait", nexlet_await_target(client, "{" TARGET "}", 100, wait_ms, &word))) {
        return 0;
    }
    printf("opened: %s (%s)\n", word, nexlet_word_text(word));
    open = strcmp(word, "1") == 0;
    nexlet_free(word);
    return open;
}

int main(int count, char** values) {
    nexlet_options options = {0};
    nexlet_start_options start = {0};
    nexlet_client client = 0;
    uint32_t wait_ms = 30000;
    int open = 0;

    if (count > 3) {
        fputs("usage: c_caller [PROGRAM [WAIT_MS]]\n", stderr);
        return 2;
    }
    if (count > 2) {
        wait_ms = (uint32_t)strtoul(values[2], NULL, 10);
    }
    options.struct_size = sizeof options;
    options.mark = "example"; /* no service id: the library makes one for this run */
    start.struct_size = sizeof start;
    start.program = count > 1 ? values[1] : NULL;
    start.product = "example";
    start.from = "example";

    /* The pipe has to be there before the helper starts: the helper looks for it once. */
    if (!step("serve", nexlet_open(&options, &client))) {
        return 1;
    }
    if (step("start", nexlet_start(client, &start, wait_ms))) {
        open = use_helper(client, wait_ms);
        /* The helper stays for other services; without any it ends. */
        open = step("exit", nexlet_exit(client, wait_ms, NULL)) && open;
    }
    nexlet_close(client);
    return open ? 0 : 1;
}
