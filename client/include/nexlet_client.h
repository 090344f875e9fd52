/*
 * nexlet_client.h: the caller's side of the helper as a C library, nexlet_client.dll.
 *
 *   nexlet_options options = {sizeof options, "mark", "service-1"};
 *   nexlet_client client;
 *   if (nexlet_open(&options, &client) == NEXLET_OK) {
 *       nexlet_app_status status = {sizeof status};
 *       if (nexlet_start(client, NULL, 10000) == NEXLET_OK && nexlet_status(client, 10000, &status) == NEXLET_OK)
 *           printf("installed: %d\n", status.wx_installed);
 *       nexlet_exit(client, 30000, NULL);
 *       nexlet_close(client);
 *   }
 *
 * Texts are UTF-8 and end with a zero byte; one that is not UTF-8 is NEXLET_BAD_ARGUMENT. Times are milliseconds; every
 * wait has a limit, and a limit of 0 looks once.
 *
 * Results. Every function that can fail gives a nexlet_result; nexlet_result_text has a sentence for each, and
 * nexlet_last_error_text tells why: which argument or key, which path, the system's words. With
 * NEXLET_SYSTEM_ERROR, NEXLET_NOT_STARTED, NEXLET_NAME_TAKEN and NEXLET_ACCESS_DENIED GetLastError() tells the system's
 * reason. A function that does not give NEXLET_OK writes no outputs, except that it sets texts to NULL.
 *
 * Ownership. Texts handed in are copied before a function returns. A text handed out through a char** belongs to the
 * caller of the function, which releases it with nexlet_free.
 *
 * Threads. Every function may be called on any thread, by many threads at once, with any handle, also with one that
 * another thread is closing: that gives NEXLET_CLOSED or NEXLET_BAD_HANDLE. A handle's number is never used again in a
 * process. Callbacks are called on threads of the library or of the caller, as each one says. Inside a
 * callback only nexlet_helper_process, the functions without a client and nexlet_shutdown may be called with the
 * callback's client, and nexlet_service_id; all others give NEXLET_WRONG_THREAD. A callback must not throw: nothing on
 * the library's threads catches it. No function may be called while the process ends, from DllMain or from a destructor
 * of static storage: the threads that nexlet_close waits for have ended by then, and it would wait for ever.
 *
 * Versions. Each record begins with its size in bytes as the program was compiled with it; a later library
 * accepts the sizes of earlier versions. nexlet_version gives the interface's version. Once nexlet_open has
 * succeeded the library stays loaded until the process ends.
 */
#ifndef NEXLET_CLIENT_H
#define NEXLET_CLIENT_H

#include <stddef.h>
#include <stdint.h>

/* Define NEXLET_CLIENT_STATIC where the static library is linked; the CMake and pkg-config files of the package do. */
#if defined(_WIN32)
/* How the functions of the library and the callbacks are called. */
#define NEXLET_CALL __cdecl
#if !defined(NEXLET_CLIENT_BUILD) && !defined(NEXLET_CLIENT_STATIC)
#define NEXLET_API __declspec(dllimport)
#endif
#else
#define NEXLET_CALL
#endif
#if !defined(NEXLET_API)
#define NEXLET_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* The version of this interface. It grows when something is added; nothing is ever taken away. */
#define NEXLET_CLIENT_VERSION 3u

/* What a function gives: one of the values below. */
typedef int32_t nexlet_result;
enum {
    NEXLET_OK = 0,             /* done */
    NEXLET_TIMEOUT = 1,        /* nothing came in time; the helper refuses a request by staying silent */
    NEXLET_NOT_CONNECTED = 2,  /* no helper has connected yet */
    NEXLET_GONE = 3,           /* the helper's connection was lost, or its process ended */
    NEXLET_NAME_TAKEN = 4,     /* another process or client serves the pipe of this mark and service id */
    NEXLET_BAD_ARGUMENT = 5,   /* a value that cannot be used; nothing was sent */
    NEXLET_NOT_STARTED = 6,    /* the helper's program could not be started */
    NEXLET_SYSTEM_ERROR = 7,   /* another call of the system failed */
    NEXLET_CLOSED = 8,         /* nexlet_shutdown or nexlet_close was called */
    NEXLET_BAD_HANDLE = 9,     /* no client has this handle, or it has been closed */
    NEXLET_WRONG_THREAD = 10,  /* called from inside a callback of the same client */
    NEXLET_BAD_REPLY = 11,     /* the reply came but does not hold what it must */
    NEXLET_BAD_SIZE = 12,      /* this library does not know the size of a record */
    NEXLET_ACCESS_DENIED = 13, /* another process has the name and denies access to it */
    NEXLET_CANCELLED = 14,     /* nexlet_cancel or nexlet_request_close ended the request */
    NEXLET_PENDING = 15,       /* the request is still under way */
    NEXLET_OVERTAKEN = 16      /* a later open of the type miniApp took the place of the one that is asked for */
};

/* Records are packed to 8, whatever the program's setting. */
#pragma pack(push, 8)

/* One service of one mark. 0 is no client. */
typedef uint64_t nexlet_client;

/* One request that nexlet_begin and the like began. 0 is no request. */
typedef uint64_t nexlet_request;

/* Message types, as they travel in frames. */
enum {
    NEXLET_TYPE_STATUS = 2,
    NEXLET_TYPE_STATUS_ENCRYPTED = 3,
    NEXLET_TYPE_IDENTITY = 4,
    NEXLET_TYPE_ENCRYPT = 5,
    NEXLET_TYPE_OPEN = 6,
    NEXLET_TYPE_POLL = 7,
    NEXLET_TYPE_WATCH = 8,
    NEXLET_TYPE_EXIT = 9,
    NEXLET_TYPE_READY = 12,
    NEXLET_TYPE_STATUS_REPLY = 13, /* also the reply of NEXLET_TYPE_POLL */
    NEXLET_TYPE_STATUS_ENCRYPTED_REPLY = 14,
    NEXLET_TYPE_IDENTITY_REPLY = 15,
    NEXLET_TYPE_ENCRYPT_REPLY = 16,
    NEXLET_TYPE_OPEN_REPLY = 17
};

/* The direction of a frame, as the program sees it. */
enum { NEXLET_SENT = 0, NEXLET_RECEIVED = 1 };

/* How grave a diagnostic is. */
enum {
    NEXLET_LEVEL_ERROR = 1,   /* a function was used wrongly, or the system refused */
    NEXLET_LEVEL_WARNING = 2, /* the helper is gone or silent, or something that it sent was dropped */
    NEXLET_LEVEL_INFO = 3,    /* the life of the client: served, started, connected, closed */
    NEXLET_LEVEL_DEBUG = 4    /* each request */
};

/* What nexlet_open takes. */
typedef struct nexlet_options {
    uint32_t struct_size;   /* sizeof(nexlet_options) */
    const char* mark;       /* of the product; neither NULL nor empty */
    const char* service_id; /* of this caller within it, not empty; together with the mark up to 216 characters
                               (UTF-16). NULL: one of its own, of up to 32 characters, see nexlet_service_id */

    /* Passed to the callbacks unchanged. */
    void* context;

    /* NULL, or called when the helper is lost: once for each lost connection that had sent its ready notice. On a
     * thread of the library; waits that the loss ends may return before or after the call. Not called for a connection
     * that nexlet_shutdown or nexlet_close ends. */
    void(NEXLET_CALL* on_gone)(void* context, nexlet_client client);

    /* NULL, or called with the payload of every frame that passes: a sent one on the sender's thread before it is
     * written (for a request that is a thread of the library), a received one on a thread of the library before any
     * wait sees it. So it may be called on several threads at once. The bytes are valid until the callback
     * returns; size does not count the zero after them. */
    void(NEXLET_CALL* on_frame)(void* context, nexlet_client client, int32_t direction, const char* payload,
                                size_t size);

    /* Since version 3. NULL, or called with one line in English for what happens to the client, up to and with
     * diagnostic_level: failures of functions as nexlet_last_error_text has them, and what the helper does. On the
     * thread on which it happens, so it may be called on several threads at once. text is the callback's to read until
     * it returns. The lines are for people and change from version to version. Failures inside this callback are not
     * told to it. */
    void(NEXLET_CALL* on_diagnostic)(void* context, nexlet_client client, int32_t level, const char* text);
    int32_t diagnostic_level; /* one of NEXLET_LEVEL_...; 0: nothing is told */
} nexlet_options;

/* Flags of nexlet_start_options. */
enum {
    /* Start the program even when a helper of this mark runs; the new process then forwards and ends. */
    NEXLET_START_PROCESS = 1u,
    /* Return once the program runs, without waiting for the helper's ready notice. */
    NEXLET_START_NO_WAIT = 2u
};

/* What nexlet_start takes. */
typedef struct nexlet_start_options {
    uint32_t struct_size;     /* sizeof(nexlet_start_options) */
    uint32_t flags;           /* of NEXLET_START_... */
    const char* program;      /* full path; NULL: nexlet.exe in the folder of this library */
    const char* channel_json; /* the channel's JSON text; NULL: made from the four members below */
    const char* machine_id;   /* NULL: empty */
    uint32_t channel_id;      /* of the product's distribution channel */
    const char* product;      /* NULL: empty */
    const char* from;         /* NULL: empty */
    const char* type;         /* the switch of a request to run at the start; NULL: none */
    const char* param_json;   /* the envelope of that request; NULL: none */

    /* Since version 3: the full path as Windows gives it, in place of program. NULL: program counts. Both set is
     * NEXLET_BAD_ARGUMENT. */
    const wchar_t* program_path;
} nexlet_start_options;

/* The outcome of a request of nexlet_begin. */
typedef struct nexlet_outcome {
    uint32_t struct_size;   /* sizeof(nexlet_outcome) of the library */
    nexlet_result result;   /* as the function that waits would have given it */
    const char* word;       /* the text under "result" of the reply: the result word, or the envelope; empty for none */
    const char* reply_json; /* the reply's content, as of nexlet_call; empty unless result is NEXLET_OK */
    const char* error_text; /* as of nexlet_last_error_text; empty when result is NEXLET_OK */
} nexlet_outcome;

/* What nexlet_begin takes. */
typedef struct nexlet_request_options {
    uint32_t struct_size; /* sizeof(nexlet_request_options) */
    uint32_t timeout_ms;  /* for turn, send and reply together; then the request ends with NEXLET_TIMEOUT */
    void* context;        /* passed to the callback unchanged */

    /* NULL, or called exactly once when the request has ended, however it ends, and before nexlet_close returns. On a
     * thread of the library, one such callback of a client after the other; other requests are sent and end meanwhile.
     * outcome and its texts are the callback's to read until it returns. */
    void(NEXLET_CALL* on_done)(void* context, nexlet_client client, nexlet_request request,
                               const nexlet_outcome* outcome);
} nexlet_request_options;

/* Flags of nexlet_app. */
enum {
    NEXLET_APP_TRY_INSTALL = 1u,       /* these three together: yyb may install its client */
    NEXLET_APP_ALLOW_INSTALL_YYB = 2u, /* see above */
    NEXLET_APP_SAFE_EXISTS = 4u,       /* see above; the key "OvrinSafeExist" */
    NEXLET_APP_SHOW_LOADING = 8u,      /* weChat: show a loading window, see the members loading_... */
    NEXLET_APP_CREATE_SHORTCUT = 16u   /* weChat: make a desktop shortcut, see the members shortcut_... */
};

/* A target to open, in place of JSON by hand. A text that is NULL is left out; type, from and task_id are always
 * needed. */
typedef struct nexlet_app {
    uint32_t struct_size;             /* sizeof(nexlet_app) */
    uint32_t flags;                   /* of NEXLET_APP_... */
    const char* type;                 /* "miniApp", "weChat" or "yyb" */
    const char* from;                 /* who asks; not empty */
    const char* task_id;              /* a name for this open, by which it is asked for later; not empty */
    const char* app_id;               /* miniApp and yyb: of the target; needed there */
    const char* app_path;             /* miniApp: the page within it */
    const char* url_scheme;           /* weChat: the URL to open; needed there */
    const char* window_title;         /* weChat: the title of the target's window; needed there */
    const char* yyb_param;            /* yyb: what its client is handed; needed there */
    uint32_t loading_timeout_ms;      /* how long the loading window waits for the target; 0: 2000 */
    const char* loading_name;         /* its text */
    const char* loading_icon_url;     /* its picture */
    const char* shortcut_name;        /* the shortcut's name; without it none is made */
    const char* shortcut_image_url;   /* its picture, PNG or JPEG; without it none is made */
    const char* shortcut_success_url; /* fetched when it was made */
    const char* shortcut_error_url;   /* fetched when it was not */
} nexlet_app;

/* Flags of nexlet_app_question. */
enum {
    NEXLET_QUESTION_WINDOW = 1u /* yyb: a window of the title counts as success too; the key "mon_wndexists" */
};

/* Which open is asked for. type, from and task_id are those of the open. */
typedef struct nexlet_app_question {
    uint32_t struct_size;     /* sizeof(nexlet_app_question) */
    uint32_t flags;           /* of NEXLET_QUESTION_... */
    const char* type;         /* of the open */
    const char* from;         /* of the open */
    const char* task_id;      /* of the open */
    const char* window_title; /* the title of the target's window; needed for weChat and with NEXLET_QUESTION_WINDOW */

    uint32_t interval_ms;            /* nexlet_watch_app alone, like the rest: how long the helper asks; 0: 2000 at
                                        first, then as the watch before */
    uint32_t success_url_count;      /* how many there are */
    const char* const* success_urls; /* fetched when the open has succeeded; NULL: none */
    const char* const* error_urls;   /* fetched when it has not; NULL: none */
    uint32_t error_url_count;        /* how many there are */
} nexlet_app_question;

/* What is installed and logged in: 1 or 0 each. */
typedef struct nexlet_app_status {
    uint32_t struct_size;           /* sizeof(nexlet_app_status) */
    int32_t mini_program_installed; /* the mini-program application of WeChat */
    int32_t mini_program_logged_in; /* a user is logged in there */
    int32_t wx_installed;           /* the WeChat client */
    int32_t wx_logged_in;           /* a user is logged in there */
    int32_t yyb_installed;          /* the YYB client */
    int32_t yyb_logged_in;          /* a user is logged in there */
} nexlet_app_status;

/* What nexlet_helper_process writes. */
typedef struct nexlet_helper {
    uint32_t struct_size; /* sizeof(nexlet_helper) */
    uint32_t process_id;  /* of the helper: the process at the other end of the pipe once it has sent something, until
                             then the one that nexlet_start started or found; 0 before */
    int32_t connected;    /* 1 while a process is connected to the pipe */
    uint32_t connections; /* how many there have been; the helper's probe of the pipe counts as one */
    int32_t forwarded;    /* 1 when that helper ran already, so that nexlet_start or the process that it started handed
                             it the command line */
    int32_t ended;        /* 1 once that process has ended */
    uint32_t exit_code;   /* of that process, when it has ended */
} nexlet_helper;

#pragma pack(pop)

/* ---- The library ---- */

/* The version of the interface that the library has: NEXLET_CLIENT_VERSION of its build. */
NEXLET_API uint32_t NEXLET_CALL nexlet_version(void);

/* One sentence about a result, for people. A static text, also for a number that is not a result. */
NEXLET_API const char* NEXLET_CALL nexlet_result_text(nexlet_result result);

/* The name of a result's constant. A static text, also for a number that is not a result. */
NEXLET_API const char* NEXLET_CALL nexlet_result_name(nexlet_result result);

/*
 * Why the last function that failed on this thread did so, in one line of English for people: the function, the
 * result's sentence, then the argument, the key, the path or the name that it is about, and the system's words where
 * the system refused. Empty when none has failed. A function that succeeds changes nothing, as with GetLastError. The
 * text belongs to the library and stays until the next function fails on the same thread. Never NULL; may be called
 * inside a callback.
 */
NEXLET_API const char* NEXLET_CALL nexlet_last_error_text(void);

/* One sentence about a result word of nexlet_open_target and nexlet_poll_target. A static text, also for an unknown
 * word.
 */
NEXLET_API const char* NEXLET_CALL nexlet_word_text(const char* word);

/* Releases a text. NULL does nothing. */
NEXLET_API void NEXLET_CALL nexlet_free(void* text);

/* ---- A client's life ---- */

/*
 * Serves the pipe and the gate event of options->mark and options->service_id until nexlet_shutdown or nexlet_close,
 * and writes the new handle to *client. Call it before the start of the helper, which looks for the pipe once. It
 * starts nothing and does not wait. NEXLET_NAME_TAKEN, NEXLET_BAD_ARGUMENT, NEXLET_BAD_SIZE, NEXLET_SYSTEM_ERROR (a
 * name the system does not take is one), NEXLET_ACCESS_DENIED.
 */
NEXLET_API nexlet_result NEXLET_CALL nexlet_open(const nexlet_options* options, nexlet_client* client);

/* The client's service id, the one that it was given or the one that it made. May be called inside a callback. */
NEXLET_API nexlet_result NEXLET_CALL nexlet_service_id(nexlet_client client, char** service_id);

/* 1 when the calling thread is inside a callback of this client, otherwise 0. Never fails. */
NEXLET_API int32_t NEXLET_CALL nexlet_in_callback(nexlet_client client);

/*
 * Starts the helper, or hands the command line to the one of this mark that runs in this session, and waits for its
 * ready notice. options may be NULL. A running helper takes the command line on its own pipe. If it does not, or does
 * not connect, the program is started, and that process forwards or serves. In one process the starts of a mark are
 * made one after the other, each waiting for its turn within its limit. A running helper does not reconnect to a
 * service whose connection it has lost until it has released that service. Where it holds this service id from an
 * earlier run it is asked to, which takes up to 12 seconds, and the start goes on by itself; a service id of its own
 * for each run (NULL in nexlet_options) avoids that wait. NEXLET_TIMEOUT, NEXLET_GONE (the process ended without
 * connecting), NEXLET_NOT_STARTED, NEXLET_BAD_ARGUMENT (no mark or text that a command line can carry),
 * NEXLET_BAD_SIZE, NEXLET_SYSTEM_ERROR. With NEXLET_START_PROCESS, NEXLET_START_NO_WAIT or a type there is one attempt.
 */
NEXLET_API nexlet_result NEXLET_CALL nexlet_start(nexlet_client client, const nexlet_start_options* options,
                                                  uint32_t timeout_ms);

/* Waits until a process is connected to the pipe, for callers whose helper is started elsewhere. NEXLET_TIMEOUT. */
NEXLET_API nexlet_result NEXLET_CALL nexlet_wait_connected(nexlet_client client, uint32_t timeout_ms);

/* Waits until a connection that was made is lost, for whatever reason. NEXLET_TIMEOUT. */
NEXLET_API nexlet_result NEXLET_CALL nexlet_wait_lost(nexlet_client client, uint32_t timeout_ms);

/* Waits until the helper's process, see nexlet_helper, has ended, and writes its exit code, when exit_code is not NULL.
 * NEXLET_NOT_CONNECTED (nothing was started), NEXLET_TIMEOUT. */
NEXLET_API nexlet_result NEXLET_CALL nexlet_wait_process_end(nexlet_client client, uint32_t timeout_ms,
                                                             uint32_t* exit_code);

/* What is known of the helper at this moment. helper->struct_size is set by the caller. NEXLET_BAD_SIZE. */
NEXLET_API nexlet_result NEXLET_CALL nexlet_helper_process(nexlet_client client, nexlet_helper* helper);

/*
 * Asks the helper to release this service, and waits until it has closed the connection, which takes 2 seconds of grace
 * and up to 10 more, and then up to 5 for its process: 17 seconds at most. A watch under way (nexlet_watch_target)
 * keeps the service longer, for up to its interval. ended, when not NULL, becomes 1 when the process has ended too,
 * which it does when it has no other service. NEXLET_TIMEOUT, NEXLET_NOT_CONNECTED, NEXLET_GONE.
 */
NEXLET_API nexlet_result NEXLET_CALL nexlet_exit(nexlet_client client, uint32_t timeout_ms, int32_t* ended);

/* Ends the connection and the pipe and wakes every wait: they and all later calls give NEXLET_CLOSED. Does not wait for
 * them, may be called inside a callback, and more than once. The handle must still be closed. */
NEXLET_API nexlet_result NEXLET_CALL nexlet_shutdown(nexlet_client client);

/* Does nexlet_shutdown, waits until every other call with this handle and every callback has returned, and frees the
 * client. The helper is not asked to exit; it notices within a minute that the pipe is gone. */
NEXLET_API nexlet_result NEXLET_CALL nexlet_close(nexlet_client client);

/* ---- Requests ----
 *
 * The helper handles the requests of a connection one at a time. One request of a type is in flight; a further one of
 * the same type waits for its turn within its own time limit. A reply is told from others by its type and by a number
 * that the library puts into the content under the key "nexlet_call" and that the helper echoes; one that comes after
 * its request has timed out is dropped.
 *
 * All: NEXLET_TIMEOUT, NEXLET_NOT_CONNECTED, NEXLET_GONE, NEXLET_CLOSED, NEXLET_BAD_ARGUMENT, NEXLET_BAD_REPLY.
 */

/* What is installed and logged in. status->struct_size is set by the caller. */
NEXLET_API nexlet_result NEXLET_CALL nexlet_status(nexlet_client client, uint32_t timeout_ms,
                                                   nexlet_app_status* status);

/* The same with the device identity under the RSA envelope, URL-escaped; empty when that failed. */
NEXLET_API nexlet_result NEXLET_CALL nexlet_status_encrypted(nexlet_client client, uint32_t timeout_ms,
                                                             char** envelope);

/* The device identity pair; two empty texts when there is none. */
NEXLET_API nexlet_result NEXLET_CALL nexlet_identity(nexlet_client client, uint32_t timeout_ms, char** q32, char** q36);

/* text under the RSA envelope, URL-escaped; empty when that failed. */
NEXLET_API nexlet_result NEXLET_CALL nexlet_encrypt(nexlet_client client, const char* text, uint32_t timeout_ms,
                                                    char** envelope);

/*
 * Opens a target. open_json is the object with type, from, taskId and the keys of its type. A value whose kind would
 * end the helper is refused here with NEXLET_BAD_ARGUMENT. The helper is given the right to bring a window to the
 * front, as far as this process has it. word becomes the result word: "1", "Loading", or what went wrong.
 *
 * The helper lets only the latest open of the type miniApp settle. So those of one mark and one process, whatever their
 * clients, are sent one after the other: the next one waits, within its limit, until a poll has told the end of the one
 * before, until that one's client has lost its helper or is closed, or until it was not polled for 5 seconds; in all
 * not longer than 60 seconds.
 */
NEXLET_API nexlet_result NEXLET_CALL nexlet_open_target(nexlet_client client, const char* open_json,
                                                        uint32_t timeout_ms, char** word);

/* Asks once whether an open has ended, and how. question_json is the object with type, from, taskId and wndname.
 * NEXLET_OVERTAKEN: it stays "Loading" for ever, since another process that uses this library opened a miniApp after
 * it, or this one did after the times of nexlet_open_target. */
NEXLET_API nexlet_result NEXLET_CALL nexlet_poll_target(nexlet_client client, const char* question_json,
                                                        uint32_t timeout_ms, char** word);

/* Asks every interval_ms until the word is not "Loading". NEXLET_TIMEOUT also when it stays "Loading";
 * NEXLET_OVERTAKEN, see nexlet_poll_target. */
NEXLET_API nexlet_result NEXLET_CALL nexlet_await_target(nexlet_client client, const char* question_json,
                                                         uint32_t interval_ms, uint32_t timeout_ms, char** word);

/* Has the helper ask by itself and fetch the URLs of successLog or errorLog at the end. There is no reply. An interval
 * that is negative would keep the helper for ever and is refused. */
NEXLET_API nexlet_result NEXLET_CALL nexlet_watch_target(nexlet_client client, const char* question_json,
                                                         uint32_t timeout_ms);

/*
 * The four functions above with records in place of JSON. NEXLET_BAD_ARGUMENT also for a member that the type needs and
 * that is missing: nexlet_last_error_text names it. NEXLET_BAD_SIZE.
 *
 * This one is nexlet_open_target.
 */
NEXLET_API nexlet_result NEXLET_CALL nexlet_open_app(nexlet_client client, const nexlet_app* app, uint32_t timeout_ms,
                                                     char** word);

/* nexlet_poll_target with a record, see nexlet_open_app. */
NEXLET_API nexlet_result NEXLET_CALL nexlet_poll_app(nexlet_client client, const nexlet_app_question* question,
                                                     uint32_t timeout_ms, char** word);

/* nexlet_await_target with a record, see nexlet_open_app. */
NEXLET_API nexlet_result NEXLET_CALL nexlet_await_app(nexlet_client client, const nexlet_app_question* question,
                                                      uint32_t interval_ms, uint32_t timeout_ms, char** word);

/* nexlet_watch_target with a record, see nexlet_open_app. */
NEXLET_API nexlet_result NEXLET_CALL nexlet_watch_app(nexlet_client client, const nexlet_app_question* question,
                                                      uint32_t timeout_ms);

/*
 * Any request that has a reply: types 2 to 7, or NEXLET_BAD_ARGUMENT. content_json is its content, an object without
 * the key "nexlet_call". Its other keys are not checked: a value of the wrong kind may end the helper.
 * reply_json becomes the reply's content, compact, without that key.
 */
NEXLET_API nexlet_result NEXLET_CALL nexlet_call(nexlet_client client, int32_t type, const char* content_json,
                                                 uint32_t timeout_ms, char** reply_json);

/* ---- Requests without waiting ----
 *
 * A function begins a request and returns at once. Its end is reported by on_done, by nexlet_request_result, or by a
 * HANDLE that the program's own loop waits for. The functions above begin such a request and wait for it: turns, limits
 * and results are the same. All of these may be called inside a callback, of the same client too. A request is
 * sent, waits and ends on threads of the library; nexlet_shutdown, nexlet_close and the loss of the helper end it with
 * NEXLET_CLOSED or NEXLET_GONE.
 */

/*
 * Begins a request of type 2 to 7, see nexlet_call. *request becomes its handle, before on_done can be called; it is
 * released with nexlet_request_close. request may be NULL when on_done is enough, whose request is then 0.
 * Unless the result is NEXLET_OK nothing has begun and on_done is not called. NEXLET_BAD_ARGUMENT, NEXLET_BAD_SIZE,
 * NEXLET_CLOSED, NEXLET_SYSTEM_ERROR.
 */
NEXLET_API nexlet_result NEXLET_CALL nexlet_begin(nexlet_client client, int32_t type, const char* content_json,
                                                  const nexlet_request_options* options, nexlet_request* request);

/* The same for the open of nexlet_open_target. */
NEXLET_API nexlet_result NEXLET_CALL nexlet_begin_open(nexlet_client client, const char* open_json,
                                                       const nexlet_request_options* options, nexlet_request* request);

/* The same for the question of nexlet_poll_target. */
NEXLET_API nexlet_result NEXLET_CALL nexlet_begin_poll(nexlet_client client, const char* question_json,
                                                       const nexlet_request_options* options, nexlet_request* request);

/* The same for nexlet_open_app. */
NEXLET_API nexlet_result NEXLET_CALL nexlet_begin_open_app(nexlet_client client, const nexlet_app* app,
                                                           const nexlet_request_options* options,
                                                           nexlet_request* request);

/* The same for nexlet_poll_app. */
NEXLET_API nexlet_result NEXLET_CALL nexlet_begin_poll_app(nexlet_client client, const nexlet_app_question* question,
                                                           const nexlet_request_options* options,
                                                           nexlet_request* request);

/*
 * Ends the request with NEXLET_CANCELLED, unless it has ended by then: its outcome tells which came first. One that was
 * not sent yet is never sent. What the helper was sent it does all the same; its reply is dropped. Does not wait.
 */
NEXLET_API nexlet_result NEXLET_CALL nexlet_cancel(nexlet_request request);

/*
 * Waits up to timeout_ms for the end of the request and gives its own result, and with NEXLET_OK the two texts, of
 * which either may be NULL. NEXLET_PENDING when it is still under way. As often as wanted, also after nexlet_close.
 * Inside a callback of its client only with a limit of 0, or NEXLET_WRONG_THREAD.
 */
NEXLET_API nexlet_result NEXLET_CALL nexlet_request_result(nexlet_request request, uint32_t timeout_ms, char** word,
                                                           char** reply_json);

/* An event of the system (a HANDLE) that is signalled once the request has ended, for WaitForMultipleObjects and the
 * like. It belongs to the request: not to be set or closed, and gone with nexlet_request_close. */
NEXLET_API nexlet_result NEXLET_CALL nexlet_request_handle(nexlet_request request, void** handle);

/* Gives the handle back, also inside on_done. A request that is still under way is cancelled; its on_done comes. */
NEXLET_API nexlet_result NEXLET_CALL nexlet_request_close(nexlet_request request);

/* ---- Bare frames, for tools and tests ---- */

/* Sends one envelope of any type; content_json is any JSON. NEXLET_OK: the system has taken it for the
 * helper, which can read it even after nexlet_close. */
NEXLET_API nexlet_result NEXLET_CALL nexlet_send(nexlet_client client, int32_t type, const char* content_json,
                                                 uint32_t timeout_ms);

/* Sends one frame with this payload, whatever it is. */
NEXLET_API nexlet_result NEXLET_CALL nexlet_send_payload(nexlet_client client, const void* payload, size_t size,
                                                         uint32_t timeout_ms);

/*
 * Takes the oldest received frame of this type that answers no request of nexlet_call and that nobody has taken yet;
 * type 0 takes the oldest of any kind. The latest 4096 are kept. found_type, size may be NULL; found_type becomes 0 for
 * a payload that is not an envelope. NEXLET_GONE when there is none and the helper is gone.
 */
NEXLET_API nexlet_result NEXLET_CALL nexlet_wait_frame(nexlet_client client, int32_t type, uint32_t timeout_ms,
                                                       int32_t* found_type, char** payload, size_t* size);

/*
 * Sends one frame to the host's own pipe of a mark, through which second starts forward. answer, when not NULL, becomes
 * the payload of the next frame that comes back, which only a command line gets. Needs no client. NEXLET_NOT_CONNECTED
 * (no helper of this mark), NEXLET_TIMEOUT, NEXLET_GONE, NEXLET_BAD_ARGUMENT, NEXLET_ACCESS_DENIED (another user's).
 */
NEXLET_API nexlet_result NEXLET_CALL nexlet_host_send(const char* mark, const void* payload, size_t size,
                                                      uint32_t timeout_ms, char** answer);

#ifdef __cplusplus
}
#endif

#endif
