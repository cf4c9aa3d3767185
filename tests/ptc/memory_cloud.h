// A cloud that is written into memory, and what of it is there at any moment.

#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "ptc/cloud/writer.h"
#include "tests/support/full_disk.h"

struct MemoryCloud {
    explicit MemoryCloud(const CloudDescription& description, TokenForm form = TokenForm::kBinary) {
        std::string why;
        cloud = CreateCloud(description, std::make_unique<FullDisk>(SIZE_MAX, disk), form, &why);
        EXPECT_TRUE(cloud) << why;
    }

    std::string Bytes() const {
        return {reinterpret_cast<const char*>(disk->data()), disk->size()};
    }

    const DiskBytes disk = std::make_shared<DiskBytes::element_type>();
    std::unique_ptr<CloudWriter> cloud;
};

/// A description whose point variables have these types, and the types as names. Borrows them.
inline CloudDescription WithVariables(const std::vector<const char*>& types,
                                      const char* file_name = nullptr) {
    CloudDescription description;
    description.file_name = file_name;
    description.point_variables = {static_cast<int>(types.size()), types.data(), types.data()};
    return description;
}
