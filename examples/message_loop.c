/* Calls the helper from a program with a window: the calls that wait are made on a thread of their own, and what they give
 * comes to the window as messages. The message loop never waits for the helper.
 *
 *   message_loop [PROGRAM]    PROGRAM is the full path of nexlet.exe; without it the one beside nexlet_client.dll
 *
 * Exit codes: 0 all steps went well while the loop went on; 1 a step failed. */
#include <windows.h>

#include <stdio.h>

#include <nexlet_client.h>

enum { STEP_DONE = WM_APP, HELPER_GONE = WM_APP + 1 };
enum { START, STATUS, LEAVE, STEPS };
static const char* const step_names[STEPS] = {"start", "status", "exit"};

#define WAIT_MS 30000
#define TIMER 1

struct program {
    HWND window;
    nexlet_client client;
    const char* helper;
    int done;  /* steps that went well */
    int ticks; /* of a timer, which stands for the work of the window */
};

/* On a thread of the library. Nothing is asked here, only posted. */
static void NEXLET_CALL on_gone(void* context, nexlet_client client) {
    (void)client;
    PostMessageW(((struct program*)context)->window, HELPER_GONE, 0, 0);
}

/* The thread of the calls that wait. It ends at the first step that fails; nexlet_shutdown makes the one under way fail. */
static DWORD WINAPI call_helper(void* context) {
    struct program* program = context;
    nexlet_start_options start = {0};
    nexlet_app_status status = {0};
    nexlet_result result = NEXLET_OK;
    int step;

    status.struct_size = sizeof status;
    start.struct_size = sizeof start;
    start.program = program->helper;
    start.product = "example";
    start.from = "example";
    for (step = START; step < STEPS && result == NEXLET_OK; ++step) {
        if (step == START) {
            result = nexlet_start(program->client, &start, WAIT_MS);
        } else if (step == STATUS) {
            result = nexlet_status(program->client, WAIT_MS, &status);
        } else {
            result = nexlet_exit(program->client, WAIT_MS, NULL);
        }
        PostMessageW(program->window, STEP_DONE, (WPARAM)step, (LPARAM)result);
    }
    return 0;
}

static LRESULT CALLBACK on_message(HWND window, UINT message, WPARAM first, LPARAM second) {
    struct program* program = (struct program*)GetWindowLongPtrW(window, GWLP_USERDATA);
    switch (message) {
        case WM_TIMER:
            ++program->ticks;
            return 0;
        case STEP_DONE:
            printf("%s: %s\n", step_names[first], nexlet_result_text((nexlet_result)second));
            fflush(stdout);
            program->done += second == NEXLET_OK;
            if (second != NEXLET_OK || first == LEAVE) {
                PostQuitMessage(0);
            }
            return 0;
        case HELPER_GONE:
            puts("the helper is gone");
            return 0;
        case WM_CLOSE:
            /* The user has enough: the call under way comes back with NEXLET_CLOSED. */
            nexlet_shutdown(program->client);
            return 0;
        default:
            return DefWindowProcW(window, message, first, second);
    }
}

int main(int count, char** values) {
    struct program program = {0};
    nexlet_options options = {0};
    WNDCLASSW window_class = {0};
    MSG message;
    HANDLE thread;

    program.helper = count > 1 ? values[1] : NULL;
    window_class.lpfnWndProc = on_message;
    window_class.lpszClassName = L"nexlet_example";
    RegisterClassW(&window_class);
    /* A product's own window serves as well; this one is never seen. */
    program.window = CreateWindowW(L"nexlet_example", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, NULL, NULL, NULL);
    SetWindowLongPtrW(program.window, GWLP_USERDATA, (LONG_PTR)&program);
    SetTimer(program.window, TIMER, 10, NULL);

    options.struct_size = sizeof options;
    options.mark = "example";
    options.context = &program;
    options.on_gone = on_gone;
    /* Does not wait, so the thread of the window may call it. */
    if (nexlet_open(&options, &program.client) != NEXLET_OK) {
        return 1;
    }
    thread = CreateThread(NULL, 0, call_helper, &program, 0, NULL);
    if (thread == NULL) {
        return 1;
    }
    while (GetMessageW(&message, NULL, 0, 0) > 0) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    nexlet_close(program.client); /* no callback comes after this */
    DestroyWindow(program.window);
    printf("the loop went on meanwhile: %s\n", program.ticks > 0 ? "yes" : "no");
    return program.done == STEPS && program.ticks > 0 ? 0 : 1;
}
