// Forms: the names and the extensions.

#include "tools/ptc/convert/forms.h"

namespace convert {

namespace {

struct NamedForm {
    std::string_view name;
    Form form;
};

constexpr Form kText = {FileKind::kCloud, TokenForm::kText, false};

constexpr NamedForm kForms[] = {
    {"binary", {}},
    {"text", kText},
    {"gzip", {FileKind::kCloud, TokenForm::kBinary, true}},
    {"ply", {FileKind::kPly, TokenForm::kBinary, false}},
    {"ply-ascii", {FileKind::kPly, TokenForm::kText, false}},
    {"csv", {FileKind::kCsv, TokenForm::kText, false}},
};

constexpr NamedForm kExtensions[] = {
    {".ptc", {}},
    {".txt", kText},
    {".ptct", kText},
    {".ply", {FileKind::kPly, TokenForm::kBinary, false}},
    {".csv", {FileKind::kCsv, TokenForm::kText, false}},
};

}  // namespace

std::optional<Form> FormCalled(std::string_view name) {
    for (const NamedForm& known : kForms)
        if (known.name == name) return known.form;
    return std::nullopt;
}

std::optional<Form> FormOf(std::string_view file) {
    file.remove_prefix(file.rfind('/') + 1);  // npos + 1 is 0
    const bool is_gzip = file.ends_with(".gz");
    if (is_gzip) file.remove_suffix(3);
    for (const NamedForm& known : kExtensions) {
        if (!file.ends_with(known.name)) continue;
        // Only the system's own files are read back through gzip.
        if (is_gzip && known.form.kind != FileKind::kCloud) return std::nullopt;
        Form form = known.form;
        form.is_gzip = is_gzip;
        return form;
    }
    return is_gzip ? FormCalled("gzip") : std::nullopt;
}

}  // namespace convert
