// Reports a message: decides whether it is printed, formats its text, passes it to the handler.

#include "util/host/message.h"

#include <cstdio>
#include <string_view>

#include "util/host/message_catalogue.h"
#include "util/host/message_settings.h"
#include "util/host/message_tables.h"
#include "util/text/format_cut.h"

namespace {

constexpr std::size_t kFormatBytes = 1024;  // of a catalogue entry, with the terminating zero
constexpr int kErrorsAreFatal = 1;          // the error mode

/// Writes the prefix and the formatted text of the catalogue, without a newline at its end. Only
/// the catalogue's texts are used as formats; an identifier may come from anywhere and is an
/// argument.
void Compose(const char* identifier, std::va_list arguments, MsgText* text) {
    TheMsgSettings().AppendPrefix(text);
    if (const char* const entry = message_catalogue::FindMessage(identifier)) {
        std::array<char, kFormatBytes> format{};
        const std::string_view whole = CutFormat(entry, kFormatBytes - 1);
        whole.copy(format.data(), whole.size());
        text->AppendFormat(format.data(), arguments);
    } else {
        text->Append(identifier);
        text->Append(" Cannot find message with id ");
        text->Append(identifier);
    }
    if (text->size > 0 && text->bytes[text->size - 1] == '\n') text->bytes[--text->size] = '\0';
}

/// Whether `key` has not been printed in this process. Enters it in the tables.
bool IsFirst(std::string_view key, const MsgSettings& settings) {
    return !message_tables::KnownToThread(key) &&
           message_tables::FirstInProcess(key, settings.lock);
}

/// Calls the filter, if there is one; its replacement becomes `text` if it returns nonzero.
void Filter(const MsgSettings& settings, int code, int severity, MsgText* text) {
    if (!settings.filter) return;
    MsgText replacement;
    if (!settings.filter(code, severity, text->bytes.data(), replacement.bytes.data())) return;
    *text = MsgText();
    text->Append(replacement.bytes.data());
}

int Deliver(const MsgSettings& settings, int code, int severity, const char* text) {
    if (settings.wrapper) return settings.wrapper(settings.handler, code, severity, text);
    return settings.handler(code, severity, text);
}

void AppendMemory(const MsgSettings& settings, MsgText* text) {
    if (!settings.callbacks.memory) return;
    double total = 0;
    double free = 0;
    settings.callbacks.memory(&total, &free);
    std::array<char, 800> figures;  // two of the largest doubles
    (void)std::snprintf(figures.data(), figures.size(), " (mem: %.0lf/%.0lf)", total - free, total);
    text->Append(figures.data());
}

/// Reports a message that ends the process, whether it is printed or not. Calls the handler
/// directly: a wrapper might delay the message, and the process ends now.
void ReportAndEnd(const MsgSettings& settings, const char* identifier, int code, int severity,
                  std::va_list arguments) {
    MsgText text;
    Compose(identifier, arguments, &text);
    if (code == kMsgOutOfMemory) {
        severity = kMsgSevere;
        AppendMemory(settings, &text);
    }
    if (IsFirst(identifier, settings)) {
        Filter(settings, code, severity, &text);
        settings.handler(code, severity, text.bytes.data());
    }
    // KEPT: for a severe text the default handler has already called the exit function. A replaced
    // exit function that returns is thus called twice; a host's handler may rely on this call.
    // Test: UtilMessage.TheDefaultHandlerMarksWarningsAndEndsTheProcess
    settings.exit(code);
}

}  // namespace

void MsgReportV(const char* identifier, int code, int severity_word, std::va_list arguments) {
    if (!identifier) identifier = "";
    const int severity = severity_word & kMsgSeverityBits;
    const MsgSettings settings = TheMsgSettings().Read();
    const bool errors_are_fatal = settings.error_mode == kErrorsAreFatal;
    if (code == kMsgOutOfMemory || severity >= kMsgSevere ||
        (errors_are_fatal && severity >= kMsgError)) {
        ReportAndEnd(settings, identifier, code, severity, arguments);
        return;
    }
    // Before any formatting, so a silenced message costs no more than this lookup.
    if (message_tables::KnownToThread(identifier)) return;

    MsgText text;
    Compose(identifier, arguments, &text);
    if (severity_word & kMsgOncePerIdentifier) {
        if (!IsFirst(identifier, settings)) return;
    } else if (severity_word & kMsgOncePerText) {
        if (!IsFirst(text.bytes.data(), settings)) return;
    }
    Filter(settings, code, severity, &text);
    Deliver(settings, code, severity, text.bytes.data());
}

void MsgReport(const char* identifier, int code, int severity_word, ...) {
    std::va_list arguments;
    va_start(arguments, severity_word);
    MsgReportV(identifier, code, severity_word, arguments);
    va_end(arguments);
}

int MsgDeliver(int code, int severity, const char* text) {
    return Deliver(TheMsgSettings().Read(), code, severity, text ? text : "");
}
