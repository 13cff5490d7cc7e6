// The shared library is linked without the C++ runtime library, so that a plug-in
// written in C loads only libc and GLib and does not pay for the runtime's resident
// pages (close to a megabyte on a gateway). The compiler's code still calls a few of
// the runtime's entry points: these are they, kept local to the library. The library
// is built without exceptions, so every failure here ends the process, as g_malloc
// does when memory runs out.
//
// A new use of a runtime facility that is not here (std::thread, std::function's
// bad call, RTTI ...) brings the runtime library back: the runtime_dependencies test
// then fails.

#include <cstdlib>
#include <memory>
#include <new>

#include <glib.h>

namespace {

[[noreturn]] void fail(const char *what)
{
    g_error("liblumo3: %s", what);
    std::abort();
}

}  // namespace

void *operator new(std::size_t size)
{
    void *p = std::malloc(size ? size : 1);
    if (!p)
        fail("out of memory");
    return p;
}

void *operator new[](std::size_t size)
{
    return operator new(size);
}

void operator delete(void *p) noexcept
{
    std::free(p);
}

void operator delete[](void *p) noexcept
{
    std::free(p);
}

void operator delete(void *p, std::size_t) noexcept
{
    std::free(p);
}

void operator delete[](void *p, std::size_t) noexcept
{
    std::free(p);
}

namespace std {

void __throw_bad_alloc()
{
    fail("out of memory");
}

void __throw_bad_array_new_length()
{
    fail("bad array length");
}

void __throw_length_error(const char *what)
{
    fail(what);
}

void __throw_logic_error(const char *what)
{
    fail(what);
}

void __throw_out_of_range_fmt(const char *format, ...)
{
    fail(format);
}

void __throw_system_error(int)
{
    fail("a thread primitive failed");
}

// Unoptimised builds call its members out of line.
template class allocator<char>;

}  // namespace std

extern "C" void __cxa_pure_virtual()
{
    fail("pure virtual call");
}

#if defined(__ARM_EABI__)
// 32-bit ARM registers the destructors of static objects through this one.
extern "C" int __cxa_atexit(void (*destructor)(void *), void *object, void *dso);
extern "C" int __aeabi_atexit(void *object, void (*destructor)(void *), void *dso)
{
    return __cxa_atexit(destructor, object, dso);
}
#endif
