// `XmlStatsWriter`: statistics as a well-formed XML document, whatever their texts hold.

#pragma once

#include <string>
#include <vector>

#include "util/stats/stats_writer.h"

/// Appends a document to a text: the elements it is given, indented by two blanks a level, inside
/// one element "statistics", so that any number of them makes one document.
///
/// Texts are escaped. A character that XML cannot hold, and a byte that is part of no character,
/// becomes U+FFFD; a character of a tag or attribute name that XML does not take becomes '_'.
/// A text reads back as it was, but for these. Of attributes with one name the first counts.
///
/// Units      bytes of UTF-8.
/// Errors     none but memory: an EndElement() too many is ignored, one too few is made up for by
///            Finish().
/// Ownership  borrows the text, which outlives it.
/// Threads    one caller at a time.
class XmlStatsWriter : public StatsWriter {
public:
    explicit XmlStatsWriter(std::string* text);

    /// Closes everything that is open and ends the document. Nothing is appended after that.
    void Finish();

    void BeginElement(std::string_view tag, std::span<const StatsAttribute> attributes) override;
    /// The element opened last is closed by its own name, whatever `tag` says.
    void EndElement(std::string_view tag, bool newline) override;
    void LeafElement(std::string_view tag, std::string_view value,
                     std::span<const StatsAttribute> attributes) override;

private:
    void Open(std::string_view name, std::span<const StatsAttribute> attributes);
    void Close(std::string_view name);
    void Indent();
    void EndLine();

    std::string* const text_;
    std::vector<std::string> open_;  ///< names of the open elements; empty after Finish()
    bool is_line_start_ = true;
};
