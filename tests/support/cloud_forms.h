// One cloud in every form that a file may have.

#pragma once

#include <string>
#include <vector>

#include "tests/support/clouds.h"
#include "tests/support/gzip_bytes.h"

struct CloudForm {
    const char* name;
    bool is_plain_binary;
    bool has_nodes;  ///< such as readers use
    std::string bytes;
};

inline std::vector<CloudForm> AllForms(std::size_t points) {
    constexpr auto kText = TokenForm::kText;
    return {{"binary", true, false, BytesOf({points, false})},
            {"organised", true, true, BytesOf({points, true})},
            {"text", false, false, BytesOf({points, false, kText})},
            {"organised text", false, true, BytesOf({points, true, kText})},
            {"gzip", false, false, gzip_bytes::Whole(BytesOf({points, false}))},
            {"gzip of text", false, false, gzip_bytes::Whole(BytesOf({points, false, kText}))}};
}
