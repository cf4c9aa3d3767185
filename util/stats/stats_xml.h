// `XmlStatsWriter`: writes statistics as a well-formed XML document, whatever their texts hold.

#pragma once

#include <string>
#include <vector>

#include "util/stats/stats_writer.h"

/// Appends a document to a text. One element "statistics" contains the elements that are written,
/// indented by two blanks a level, so any number of them is one document.
///
/// Texts are escaped, and a parser reads them back unchanged, with one exception: a character that
/// XML does not allow, and a byte that is part of no character, becomes U+FFFD. In the name of a
/// tag or attribute, a character that XML does not allow there becomes '_'. Of several attributes
/// with one name only the first is written.
///
/// Units      bytes of UTF-8.
/// Errors     std::bad_alloc passes through. An EndElement() too many is ignored; Finish() closes
///            elements that are still open.
/// Ownership  borrows the text, which must outlive it.
/// Threads    one caller at a time.
class XmlStatsWriter : public StatsWriter {
public:
    explicit XmlStatsWriter(std::string* text);

    /// Closes all open elements and ends the document. Later calls append nothing.
    void Finish();

    void BeginElement(std::string_view tag, std::span<const StatsAttribute> attributes) override;
    /// Closes the innermost open element under its own name and ignores `tag`.
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
