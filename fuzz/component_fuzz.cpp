// StringToComponent on arbitrary text; every value it gives names itself back.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "lxbase/components.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(bytes), size);
    const lxbase::ComponentType value = lxbase::StringToComponent(text);
    if (value < 0) std::abort();  // only bracketed digits reach unnamed values
    if (lxbase::StringToComponent(lxbase::ComponentToString(value)) != value) std::abort();
    return 0;
}
