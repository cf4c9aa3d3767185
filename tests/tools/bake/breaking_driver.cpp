// A shared object that ends whoever loads it.

#include <cstdlib>

namespace {

[[gnu::constructor]] void Break() {
    std::abort();
}

}  // namespace
