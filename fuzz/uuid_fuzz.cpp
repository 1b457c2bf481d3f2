// UUID text in both character types: the constructors throw exactly when
// isValid refuses, and an accepted text prints back to its canonical form.
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "lxbase/uuid.h"

namespace {

template <typename String>
void Check(const String& text) {
    const bool valid = lxbase::UUID::isValid(text);
    try {
        const lxbase::UUID id(text);
        if (!valid && !text.empty()) std::abort();
        if (!text.empty() && lxbase::UUID(id.ToString()) != id) std::abort();
        if (id.ToString().size() != 36) std::abort();
    } catch (const std::runtime_error&) {
        if (valid) std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    Check(std::string(reinterpret_cast<const char*>(bytes), size));
    std::u16string wide(size / 2, u'\0');
    for (std::size_t i = 0; i < wide.size(); ++i)
        wide[i] = static_cast<char16_t>(bytes[2 * i] | (bytes[2 * i + 1] << 8));
    Check(wide);
    // Each byte as one 16-bit character: ASCII look-alikes stay in reach.
    Check(std::u16string(bytes, bytes + size));
    return 0;
}
