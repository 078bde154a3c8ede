/* The face of the library in C: what programs in C, and through it in Python, Go or Rust, send one
 * message to one recipient with. mvsms/sender.hpp is the same for C++.
 *
 * Texts are UTF-8 that a NUL ends. Going out, a character without a code in Windows-1252 is sent
 * as "?". A NULL where a text is wanted counts as "". Texts given to a function are copied. A text
 * that a function or a handler is given belongs to the library.
 *
 * A sender may be used by any thread, but by one at a time; only mvsms_abort may come at any
 * moment. Senders are independent of each other: programs that send at the same time make one for
 * each thread, and have a modem for each. Settings, modems and the profile's services are those of
 * the command `mvsms`, which is what configures them. */
#ifndef MVSMS_MVSMS_H
#define MVSMS_MVSMS_H

#include <stdint.h>

#define MVSMS_VERSION_MAJOR 1
#define MVSMS_VERSION_MINOR 0
#define MVSMS_VERSION_PATCH 0

#define MVSMS_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/* How a send ended. The numbers are the exit codes of `mvsms send`. */
typedef enum mvsms_result {
  MVSMS_ACCEPTED = 0,  /* the message centre has accepted every piece */
  MVSMS_REFUSED = 1,   /* it has refused the message for good */
  MVSMS_MISUSE = 2,    /* nothing was tried: mvsms_error says what was wrong with the call */
  MVSMS_UNUSABLE = 65, /* this text or recipient can never be sent */
  MVSMS_RETRY = 75,    /* not sent, or refused for now: another attempt may succeed */
  MVSMS_UNKNOWN = 76,  /* it went out, and no answer tells: another attempt may deliver it twice */
  MVSMS_SETTINGS = 78  /* the settings are missing or cannot be used */
} mvsms_result;

typedef struct mvsms_sender mvsms_sender;

/* Handlers run on the thread of mvsms_send, before it returns. `context` is what the handler was
 * set with. A handler may call mvsms_abort, and nothing else of the same sender. */

/* `line` is one line of progress, without a line end, valid during the call. It may hold whatever
 * the centre said, control characters included; the password of the service is hidden. */
typedef void (*mvsms_status_handler)(void* context, const char* line);
/* Something failed. `description` and `source` (object, full stop, procedure) are valid during the
 * call. The integrator guide lists the numbers. */
typedef void (*mvsms_error_handler)(void* context, int32_t number, const char* description,
                                    const char* source);

/* The version of the library that runs, such as "1.0.0". Never freed. */
MVSMS_API const char* mvsms_version(void);

/* Makes a sender for the profile `profile` ("" is "Standard") of the settings in the folder `home`
 * ("" is the one that the command uses: MVSMS_HOME, else the user's or the system's). Free it with
 * mvsms_free. NULL when there is no memory; whether the settings can be used shows when it sends.
 */
MVSMS_API mvsms_sender* mvsms_new(const char* home, const char* profile);
/* Not while it sends. NULL is ignored. */
MVSMS_API void mvsms_free(mvsms_sender* sender);

/* Sets the handler of an event; NULL sets none. Not while it sends. */
MVSMS_API void mvsms_on_status(mvsms_sender* sender, mvsms_status_handler handler, void* context);
MVSMS_API void mvsms_on_error(mvsms_sender* sender, mvsms_error_handler handler, void* context);
/* Appends the progress of later sends to the file `path`; "" leaves that to the profile. Not while
 * it sends. */
MVSMS_API void mvsms_log_to(mvsms_sender* sender, const char* path);

/* Sends `message` to the number `recipient`, and returns when the attempt is over: after seconds or
 * minutes, for it dials. `originator` is the sender's name or number (UCP only), without "/".
 * `service` is the message centre; "" is the one of the routes, else of the profile. */
MVSMS_API mvsms_result mvsms_send(mvsms_sender* sender, const char* recipient,
                                  const char* originator, const char* message, const char* service);

/* Stops a running send at its next check, and every later one of this sender: make a new sender for
 * the next message. From a handler, any other thread, or a signal handler. A dialling modem hangs
 * up first; the send then returns as what became of the message until then. */
MVSMS_API void mvsms_abort(mvsms_sender* sender);

/* How the latest send ended, each text valid until the next one or mvsms_free. */

/* The digits that it dialled into the routes; "" when it did not come so far. */
MVSMS_API const char* mvsms_recipient(const mvsms_sender* sender);
/* The service that was asked for, or that the routes gave; "" for the profile's own. */
MVSMS_API const char* mvsms_service(const mvsms_sender* sender);
/* Why it ended as it did, and what to do about it, each in a sentence without a full stop, never
 * with a password; "" after a message that was accepted, and after misuse. */
MVSMS_API const char* mvsms_reason(const mvsms_sender* sender);
MVSMS_API const char* mvsms_advice(const mvsms_sender* sender);
/* The latest error's description, or what was wrong with a call that was misuse; "" when there was
 * none. A refusal of the centre is no error: it stands in the status lines. */
MVSMS_API const char* mvsms_error(const mvsms_sender* sender);

/* --- The queue: a page is handed over in milliseconds, and `mvsms worker` sends it, with as many
 * tries as it takes. A queue may be used by any thread, but by one at a time; queues are
 * independent of each other, in one process or in many. */

typedef struct mvsms_queue mvsms_queue;

/* What has become of a page. */
typedef enum mvsms_page_state {
  MVSMS_PAGE_ERROR = -1,      /* the queue cannot be used: mvsms_queue_error says why */
  MVSMS_PAGE_NONE = 0,        /* there is no page of this id, or it is done with and forgotten */
  MVSMS_PAGE_READY = 1,       /* it waits for its turn */
  MVSMS_PAGE_HELD = 2,        /* an operator holds it back */
  MVSMS_PAGE_CLAIMED = 3,     /* the worker has it and has not dialled */
  MVSMS_PAGE_DIALLING = 4,    /* a call for it may be on */
  MVSMS_PAGE_ACCEPTED = 5,    /* the message centre has it */
  MVSMS_PAGE_UNKNOWN = 6,     /* it may have gone out */
  MVSMS_PAGE_PARKED = 7,      /* nobody tries it again by himself */
  MVSMS_PAGE_CANCELLED = 8,   /* by an operator, or mvsms_queue_cancel */
  MVSMS_PAGE_EXPIRED = 9,     /* it was not sent in time */
  MVSMS_PAGE_JOINED = 10,     /* it goes out with an earlier page of the same words */
  MVSMS_PAGE_OFFERING = 11,   /* it is being handed to other machines */
  MVSMS_PAGE_AT_HUB = 12,     /* other machines may send it */
  MVSMS_PAGE_WITHDRAWING = 13 /* cancelled; it is not known yet whether they were sooner */
} mvsms_page_state;

/* Makes a handle for the queue in the folder `home`, for pages of the profile `profile`; both as
 * for mvsms_new. Free it with mvsms_queue_free. NULL when there is no memory. */
MVSMS_API mvsms_queue* mvsms_queue_new(const char* home, const char* profile);
/* NULL is ignored. */
MVSMS_API void mvsms_queue_free(mvsms_queue* queue);

/* Of the pages that are put from now on. `priority` is 0 (the most urgent) to 9, 5 unless set; a
 * page is not sent any more `minutes` after it was put, 0 (never) unless set; and not before
 * `seconds` after 1970-01-01 00:00 UTC, 0 (at once) unless set. MVSMS_MISUSE for any other value,
 * which changes nothing. */
MVSMS_API mvsms_result mvsms_queue_set_priority(mvsms_queue* queue, int32_t priority);
MVSMS_API mvsms_result mvsms_queue_set_expiry(mvsms_queue* queue, int32_t minutes);
MVSMS_API mvsms_result mvsms_queue_set_not_before(mvsms_queue* queue, int64_t seconds);

/* Hands over a page; the texts are those of mvsms_send, and the text is fitted to the service where
 * the profile says so. `id` names it, with at most 100 letters, digits and - _ . : @ +; the same id
 * again is the same page, so that a call whose end nobody saw may be repeated; "" makes one.
 * MVSMS_ACCEPTED when the page is on stable storage, whether or not a worker runs. MVSMS_UNUSABLE
 * or MVSMS_SETTINGS when it could never be sent, MVSMS_RETRY when the queue could not take it;
 * mvsms_queue_error says why. */
MVSMS_API mvsms_result mvsms_queue_put(mvsms_queue* queue, const char* id, const char* recipient,
                                       const char* originator, const char* message,
                                       const char* service);
/* The id of the page that was put last; valid until the next put or mvsms_queue_free. */
MVSMS_API const char* mvsms_queue_id(const mvsms_queue* queue);

/* What has become of a page, of whatever profile. */
MVSMS_API mvsms_page_state mvsms_queue_state(mvsms_queue* queue, const char* id);
/* How the latest try of the page that was asked for last has ended, as mvsms_reason has it; "" when
 * it was not tried. Valid until the next mvsms_queue_state or mvsms_queue_free. */
MVSMS_API const char* mvsms_queue_reason(const mvsms_queue* queue);
/* Cancels a page that is not on the line. MVSMS_ACCEPTED when it is cancelled, or, while other
 * machines may have it, will be unless they are sooner (MVSMS_PAGE_WITHDRAWING); MVSMS_REFUSED when
 * its state is another one, MVSMS_MISUSE when there is no such page, MVSMS_RETRY when the queue
 * cannot be used. */
MVSMS_API mvsms_result mvsms_queue_cancel(mvsms_queue* queue, const char* id);

/* Why the latest call on the queue failed: a sentence; "" when it did not. Valid until the next
 * call. */
MVSMS_API const char* mvsms_queue_error(const mvsms_queue* queue);

#ifdef __cplusplus
}
#endif

#endif
