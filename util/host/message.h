// Messages to the person who watches the render.
//
// MsgReport() looks up the text of an identifier and drops messages that are silenced or were
// printed before. It passes all others to a handler; the default one prints on standard error.
// Severe messages end the process.
//
// Units      texts are cut at 4095 bytes, prefix included; a severity word is a severity (the low
//            seven bits) plus the two flags below.
// Errors     none. Unknown identifiers are reported as such. When memory runs out, messages are
//            still delivered, possibly twice. Nothing here throws.
// Ownership  texts and records of callbacks are copied; functions must stay loaded until they are
//            replaced.
// Threads    any function from any thread at any time. Handlers, wrappers, filters, memory queries
//            and exit functions run without our locks and may report messages themselves.

#pragma once

#include <cstdarg>
#include <cstddef>

constexpr std::size_t kMsgTextBytes = 4096;  ///< room for one message, with its terminating zero

constexpr int kMsgSeverityBits = 0x7f;
constexpr int kMsgInformation = 0;
constexpr int kMsgWarning = 1;
constexpr int kMsgError = 2;
constexpr int kMsgSevere = 3;  ///< and above: the process ends with the message's code

/// Flags of a severity word: print once for each text, or once for each identifier. With both set,
/// the second one counts.
constexpr int kMsgOncePerText = 0x80;
constexpr int kMsgOncePerIdentifier = 0x100;

/// The code for "out of memory": such a message is severe whatever its severity says.
constexpr int kMsgOutOfMemory = 1;

using MsgHandler = int (*)(int code, int severity, const char* text);
using MsgExit = void (*)(int code);

/// Called in place of the handler, which it gets as an argument, for messages that do not end the
/// process.
using MsgWrapper = int (*)(MsgHandler handler, int code, int severity, const char* text);

/// Returns nonzero after writing another text into `replacement`, which has kMsgTextBytes bytes; 0
/// keeps the text.
using MsgFilter = int (*)(int code, int severity, const char* text, char* replacement);

/// Functions of the host. This library uses the first two members; other parts of the host that
/// share the record use the rest.
struct MsgSystemCallbacks {
    void (*initialise)();                         ///< called by MsgInit(), or null
    void (*memory)(double* total, double* free);  ///< called when memory has run out, or null
    void* third;
    int first_setting;
    int second_setting;
};

/// A lock of the host, held while the process-wide table of printed messages is used. Both
/// functions are set or neither; the lock need not be recursive.
struct MsgLock {
    void (*lock)(void* argument);
    void (*unlock)(void* argument);
    void* argument;
};

/// Reports message `identifier`, six characters such as "T43051"; a shorter one selects the first
/// text that begins with it. The arguments must be those of the text's conversions, and nothing
/// checks them; so each message of this system has a function with typed parameters, which calls
/// this. If the message ends the process, returns only when a replaced exit function returns.
void MsgReport(const char* identifier, int code, int severity_word, ...);
void MsgReportV(const char* identifier, int code, int severity_word, std::va_list arguments);

/// Passes `text` to the wrapper, or to the handler if there is no wrapper, and returns its result.
/// Filters nothing, and does not end the process unless the handler does.
int MsgDeliver(int code, int severity, const char* text);

/// Installs `handler`; null installs the default one, which prints on standard error.
/// After a call with a nonzero `lock`, later calls do not change the handler.
void MsgSetHandler(MsgHandler handler, int lock);

/// Installs both; null means the default handler and exit(). A locked handler stays, but the exit
/// function is installed even then.
void MsgSetHandlerAndExit(MsgHandler handler, MsgExit exit_function);
MsgHandler MsgGetHandler();

/// Null removes the filter or the wrapper.
void MsgSetFilter(MsgFilter filter);
void MsgSetWrapper(MsgWrapper wrapper);
MsgWrapper MsgGetWrapper();

/// With 1, errors end the process as severe messages do; with any other value they do not. 2 at the
/// start.
void MsgSetErrorMode(int mode);
int MsgGetErrorMode();

/// Prepares reporting for a host. A null `lock` means no lock, null `callbacks` keep the ones that
/// are set, a null `prefix` means none, a null `exit_function` means exit(). Calls the initialiser
/// of the callbacks. Deletes the process's table of printed messages and the calling thread's table
/// of printed and silenced ones; other threads keep theirs.
void MsgInit(const MsgLock* lock, const MsgSystemCallbacks* callbacks, MsgExit exit_function,
             const char* prefix);

/// Adds the identifiers of a comma-separated list to those that are never printed. A thread copies
/// the list at its first report and does not read it again. Null or empty adds nothing.
void MsgSetDisabledList(const char* identifiers);
void MsgClearDisabledList();

/// Prints `module`, a colon, two blanks and the formatted message on standard error, without adding
/// a newline. A null `module` prints nothing. `module` is printed as text: a '%' in it is no
/// conversion. Module and format together are cut at 255 bytes, never inside a conversion; the
/// arguments are printed whole.
void DriverError(const char* module, const char* format, ...) __attribute__((format(printf, 2, 3)));
void DriverErrorV(const char* module, const char* format, std::va_list arguments)
    __attribute__((format(printf, 2, 0)));
