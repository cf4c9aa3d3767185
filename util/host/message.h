// Messages to the person who watches the render.
//
// MsgReport() takes an identifier, finds its text, drops what is silenced or was said before and
// hands the rest to a handler, by default standard error. Severe messages end the process.
//
// Units      texts are cut at 4095 bytes, prefix included; a severity word is a severity (low
//            seven bits) and the two flags below.
// Errors     none: an unknown identifier, a missing table or memory that ran out never keeps a
//            message from being delivered, and nothing here throws.
// Ownership  texts belong to the caller and are copied; records of callbacks are copied; functions
//            handed in must stay loaded until they are replaced.
// Threads    any function from any thread at any time. Handlers, wrappers, filters, memory queries
//            and exit functions run with none of our locks held and may report themselves.

#pragma once

#include <cstdarg>
#include <cstddef>

constexpr std::size_t kMsgTextBytes = 4096;  ///< room for one message, with its terminating zero

constexpr int kMsgSeverityBits = 0x7f;
constexpr int kMsgInformation = 0;
constexpr int kMsgWarning = 1;
constexpr int kMsgError = 2;
constexpr int kMsgSevere = 3;  ///< and above: the process ends with the message's code

/// Flags of a severity word: print once per text, or once per identifier, which wins.
constexpr int kMsgOncePerText = 0x80;
constexpr int kMsgOncePerIdentifier = 0x100;

/// The code that says that memory ran out: such a message is severe whatever its severity.
constexpr int kMsgOutOfMemory = 1;

using MsgHandler = int (*)(int code, int severity, const char* text);
using MsgExit = void (*)(int code);

/// Called instead of the handler, which it gets, for messages that do not end the process.
using MsgWrapper = int (*)(MsgHandler handler, int code, int severity, const char* text);

/// Writes another text into `replacement`, kMsgTextBytes long, and answers nonzero to have it
/// printed; 0 leaves the text as it is.
using MsgFilter = int (*)(int code, int severity, const char* text, char* replacement);

/// What the system around us provides. Only the first two are used; the rest belongs to parts of
/// the host that share the record.
struct MsgSystemCallbacks {
    void (*initialise)();                         ///< null, or called by MsgInit()
    void (*memory)(double* total, double* free);  ///< null, or asked when memory ran out
    void* third;
    int first_setting;
    int second_setting;
};

/// A lock of the host's, taken around the process-wide table of what was said. Both functions or
/// none; recursion is not needed.
struct MsgLock {
    void (*lock)(void* argument);
    void (*unlock)(void* argument);
    void* argument;
};

/// Reports message `identifier`, six characters like "T43051"; a shorter one picks the first text
/// that begins with it. The arguments must be those of the text's conversions, and nothing checks
/// them; so each message of this system has a function with typed parameters, which calls this.
/// Returns only if the message does not end the process, or if a replaced exit function returns.
void MsgReport(const char* identifier, int code, int severity_word, ...);
void MsgReportV(const char* identifier, int code, int severity_word, std::va_list arguments);

/// Hands `text` to the wrapper, or to the handler when there is no wrapper, and passes on what
/// that answers. Nothing is filtered and nothing ends here, unless the handler says so.
int MsgDeliver(int code, int severity, const char* text);

/// Installs `handler`; null installs the default one, which prints on standard error.
/// A nonzero `lock` makes this the last change of the handler.
void MsgSetHandler(MsgHandler handler, int lock);

/// Installs both; null stands for the default handler and for exit(). A handler that is locked
/// stays, the exit function is installed all the same.
void MsgSetHandlerAndExit(MsgHandler handler, MsgExit exit_function);
MsgHandler MsgGetHandler();

/// Null takes the filter or the wrapper away.
void MsgSetFilter(MsgFilter filter);
void MsgSetWrapper(MsgWrapper wrapper);
MsgWrapper MsgGetWrapper();

/// 1 makes errors end the process as severe messages do; any other value does not. Starts at 2.
void MsgSetErrorMode(int mode);
int MsgGetErrorMode();

/// Prepares reporting for a host. `lock`, `callbacks`, `prefix` may be null: no lock, the callbacks
/// of before, no prefix; a null `exit_function` is exit(). Runs the callbacks' initialiser. Forgets
/// what was said so far, and what the calling thread knows to be silenced; other threads keep it.
void MsgInit(const MsgLock* lock, const MsgSystemCallbacks* callbacks, MsgExit exit_function,
             const char* prefix);

/// Adds the identifiers of a comma-separated list to those that are never printed. A thread takes
/// the list over with its first report and does not look again. Null or empty adds nothing.
void MsgSetDisabledList(const char* identifiers);
void MsgClearDisabledList();

/// Prints `module`, a colon, two blanks and the formatted message on standard error, as it
/// stands: a newline only where `format` has one. A null `module` prints nothing at all.
/// `module` is text, whatever it holds. Module and format together are cut at 255 bytes, never
/// inside a conversion; the arguments are printed whole.
void DriverError(const char* module, const char* format, ...) __attribute__((format(printf, 2, 3)));
void DriverErrorV(const char* module, const char* format, std::va_list arguments)
    __attribute__((format(printf, 2, 0)));
