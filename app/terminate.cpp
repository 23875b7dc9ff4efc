// The end of a program by an exception that nobody catches: there are none of ours, and to print
// the name of one the C++ runtime would bring 50 KiB along.
#include <cstdlib>
#include <exception>

#ifdef __GLIBCXX__
namespace __gnu_cxx {

void __verbose_terminate_handler() {  // NOLINT(bugprone-reserved-identifier)
    std::abort();
}

}  // namespace __gnu_cxx
#elif defined(_LIBCPP_VERSION)
extern "C" char* __cxa_demangle(const char*, char*, size_t*, int* status);

char* __cxa_demangle(const char*, char*, size_t*,
                     int* status) {  // NOLINT(bugprone-reserved-identifier)
    if (status != nullptr)
        *status = -1;
    return nullptr;
}
#endif
