/* Calls the helper from a program with a window. Its loop waits for messages and for the helper at the same time: a request
 * has a handle that is signalled at its end, and start and exit, which wait themselves, run on a thread, whose handle is
 * waited for in the same way. The loop never stops for the helper.
 *
 *   message_loop [PROGRAM]    PROGRAM is the full path of nexlet.exe; without it the one beside nexlet_client.dll
 *
 * Exit codes: 0 all steps went well while the loop went on; 1 a step failed. */
#include <windows.h>

#include <stdio.h>

#include <nexlet_client.h>

#define WAIT_MS 30000
#define TIMER 1

enum { START, STATUS, LEAVE, STEPS };
static const char* const step_names[STEPS] = {"start", "status", "exit"};

struct program {
    nexlet_client client;
    const char* helper;
    int step;
    HANDLE waited;          /* of the step under way */
    nexlet_request request; /* of a step that is one, else 0 */
    int ticks;              /* of a timer, which stands for the work of the window */
};

/* A step that waits, on a thread of its own, whose exit code is its result. */
static DWORD WINAPI call_and_wait(void* context) {
    const struct program* program = context;
    nexlet_start_options start = {0};
    if (program->step == LEAVE) {
        return (DWORD)nexlet_exit(program->client, WAIT_MS, NULL);
    }
    start.struct_size = sizeof start;
    start.program = program->helper;
    start.product = "example";
    start.from = "example";
    return (DWORD)nexlet_start(program->client, &start, WAIT_MS);
}

/* Begins the step of program->step and sets what to wait for. Does not wait. */
static nexlet_result begin(struct program* program) {
    nexlet_request_options options = {0};
    nexlet_result result;
    void* handle = NULL;
    if (program->step != STATUS) {
        program->waited = CreateThread(NULL, 0, call_and_wait, program, 0, NULL);
        return program->waited != NULL ? NEXLET_OK : NEXLET_SYSTEM_ERROR;
    }
    options.struct_size = sizeof options;
    options.timeout_ms = WAIT_MS;
    result = nexlet_begin(program->client, NEXLET_TYPE_STATUS, "{}", &options, &program->request);
    if (result == NEXLET_OK) {
        result = nexlet_request_handle(program->request, &handle);
        program->waited = handle;
    }
    return result;
}

/* The result of the step, whose handle is signalled. */
static nexlet_result end(struct program* program) {
    nexlet_result result;
    DWORD code = NEXLET_SYSTEM_ERROR;
    char* reply = NULL;
    if (program->request == 0) {
        GetExitCodeThread(program->waited, &code);
        CloseHandle(program->waited);
        return (nexlet_result)code;
    }
    result = nexlet_request_result(program->request, 0, NULL, &reply);
    if (result == NEXLET_OK) {
        printf("reply: %s\n", reply);
        nexlet_free(reply);
    }
    nexlet_request_close(program->request); /* its handle goes with it */
    program->request = 0;
    return result;
}

static LRESULT CALLBACK on_message(HWND window, UINT message, WPARAM first, LPARAM second) {
    struct program* program = (struct program*)GetWindowLongPtrW(window, GWLP_USERDATA);
    if (message == WM_TIMER) {
        ++program->ticks;
        return 0;
    }
    if (message == WM_CLOSE) {
        /* The user has enough: the step under way ends with NEXLET_CLOSED. */
        nexlet_shutdown(program->client);
        return 0;
    }
    return DefWindowProcW(window, message, first, second);
}

/* A product's own window serves as well; this one is never seen. */
static HWND make_window(struct program* program) {
    WNDCLASSW window_class = {0};
    HWND window;
    window_class.lpfnWndProc = on_message;
    window_class.lpszClassName = L"nexlet_example";
    RegisterClassW(&window_class);
    window = CreateWindowW(L"nexlet_example", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, NULL, NULL, NULL);
    if (window != NULL) {
        SetWindowLongPtrW(window, GWLP_USERDATA, (LONG_PTR)program);
        SetTimer(window, TIMER, 10, NULL);
    }
    return window;
}

/* The loop of the program. Ends after the last step, or after one that failed. */
static nexlet_result run(struct program* program) {
    nexlet_result result;
    MSG message;
    program->step = START;
    result = begin(program);
    while (result == NEXLET_OK && program->step < STEPS) {
        const DWORD woken = MsgWaitForMultipleObjects(1, &program->waited, FALSE, INFINITE, QS_ALLINPUT);
        while (PeekMessageW(&message, NULL, 0, 0, PM_REMOVE)) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
        if (woken == WAIT_OBJECT_0) {
            result = end(program);
            printf("%s: %s\n", step_names[program->step], nexlet_result_text(result));
            fflush(stdout);
            ++program->step;
            if (result == NEXLET_OK && program->step < STEPS) {
                result = begin(program);
                if (result != NEXLET_OK) {
                    printf("%s does not begin: %s\n", step_names[program->step], nexlet_last_error_text());
                }
            }
        }
    }
    return result;
}

int main(int count, char** values) {
    struct program program = {0};
    nexlet_options options = {0};
    nexlet_result result;
    HWND window;

    program.helper = count > 1 ? values[1] : NULL;
    window = make_window(&program);
    options.struct_size = sizeof options;
    options.mark = "example";
    /* Does not wait, so the thread of the window may call it. */
    if (window == NULL || nexlet_open(&options, &program.client) != NEXLET_OK) {
        return 1;
    }
    result = run(&program);
    nexlet_close(program.client);
    DestroyWindow(window);
    printf("the loop went on meanwhile: %s\n", program.ticks > 0 ? "yes" : "no");
    return result == NEXLET_OK && program.ticks > 0 ? 0 : 1;
}
