// Uses the installed package only through its two umbrella headers.
#include <cstdio>
#include <cstring>

#include <lxbase/lxbase.h>
#include <lxmath/lxmath.h>

int main() {
    lxbase::OutMemoryStream out;
    out.Write("lxbase", 6);
    lxbase::InMemoryStream in(out.GetBuffer(), out.BufferSize());
    char back[6] = {};
    in.Read(back, sizeof back);
    if (in.GetLastCount() != 6 || std::memcmp(back, "lxbase", 6) != 0) return 1;
    try {
        throw lxbase::LXWritingException("written 1/2 error 0");
    } catch (const lxbase::LXException& e) {
        if (std::strcmp(e.what(), "written 1/2 error 0") != 0) return 1;
    }
    std::puts("consumer ok");
    return 0;
}
