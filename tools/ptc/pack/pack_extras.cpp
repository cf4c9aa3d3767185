// PackExtras: the descriptions of clouds, one behind the other in a temporary file.

#include "tools/ptc/pack/pack_extras.h"

#include "ptc/cloud/cloud_file.h"
#include "tools/common/failure.h"
#include "tools/common/standard_streams.h"
#include "tools/picture/png_file.h"
#include "tools/ptc/inspect/header_facts.h"
#include "tools/ptc/inspect/info_json.h"
#include "tools/ptc/open_input.h"
#include "tools/ptc/read_error.h"
#include "tools/ptc/view/view.h"
#include "util/io/open_file.h"

namespace pack {

namespace {

std::string HeaderText(const InputFile& file, const std::string& name) {
    const auto cloud = OpenInput(file).cloud;
    const HeaderFacts facts = FactsOf(name, *cloud);
    FailIfUnread(*cloud, file.Name());
    return InfoJsonList({InfoJson(facts, {})});
}

/// What `make` gives; nothing, and a note, when the cloud is such that it cannot. A read error is
/// not the cloud's.
template <class Make>
auto MakeOrTell(const char* what, Make make) -> std::optional<decltype(make())> {
    try {
        return make();
    } catch (const SystemFailure&) {
        throw;
    } catch (const Failure& failure) {
        Tell("ptc", std::string(failure.what()) + "; it is packed without its " + what);
        return std::nullopt;
    }
}

}  // namespace

PackExtras::PackExtras()
    : path_(spool_.Path()), stream_(OpenStream(path_.c_str(), "wb"), std::fclose) {
    if (!stream_) FailWithErrno("temporary file");
}

PackExtras::Part PackExtras::Add(const std::function<void(std::FILE*)>& write) {
    const std::int64_t begin = ::ftello(stream_.get());
    try {
        write(stream_.get());
    } catch (const Failure& failure) {
        throw Failure(std::string("temporary file: ") + failure.what());
    }
    if (std::fflush(stream_.get()) != 0) FailWithErrno("temporary file");
    return {begin, ::ftello(stream_.get()) - begin};
}

std::optional<PackExtras::Part> PackExtras::AddHeader(const InputFile& file,
                                                      const std::string& name) {
    const auto text = MakeOrTell("header", [&] { return HeaderText(file, name); });
    if (!text) return std::nullopt;
    return Add([&](std::FILE* stream) {
        // Whether all of it was written is asked when the stream is flushed.
        if (std::fwrite(text->data(), 1, text->size(), stream) != text->size())
            FailWithErrno("header");
    });
}

std::optional<PackExtras::Part> PackExtras::AddPicture(const InputFile& file) {
    const auto picture =
        MakeOrTell("picture", [&] { return view::Draw(file, view::ViewOptions()); });
    if (!picture) return std::nullopt;
    return Add([&](std::FILE* stream) { WritePng(*picture, stream); });
}

bool BeginsCloud(const InputFile& file) {
    TokenInput input;
    std::uint32_t version = 0;
    const TokenOpenStatus status = OpenCloudFile(input, file.Path().c_str(), &version);
    if (input.Error() != 0 && !MayBeDamaged(input)) FailWithErrno(file.Name(), input.Error());
    return status != TokenOpenStatus::kOtherType && input.Error() == 0;
}

}  // namespace pack
