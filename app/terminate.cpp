// Replaces the C++ runtime's handler of uncaught exceptions, which prints the exception's name and
// takes 50 KiB. The programs throw none.
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
