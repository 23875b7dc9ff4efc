#include "app/driver.h"

#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

#include "netbase/support/textvalue.h"

CNetTest_FtpBase* g_ftpBase = nullptr;
CNetTest_HttpBase* g_httpBase = nullptr;

namespace {

/// What the options write to.
struct STarget {
    SFtpBaseConfig* ftp;
    SHttpBaseConfig* http;
    bool isHttp;
};

void set_mode(const char* value, STarget* target) {
    switch (ka_text_to_int(value)) {
        case 0:
            target->ftp->do_get = 1;
            target->isHttp = false;
            break;
        case 1:
            target->ftp->do_put = 1;
            target->isHttp = false;
            break;
        case 2:
            target->isHttp = true;
            break;
        default:
            break;
    }
}

void set_data_mode(const char* value, STarget* target) {
    const int mode = ka_text_to_int(value);
    if (mode == 0 || mode == 2)
        target->ftp->use_pasv = 1;
    if (mode == 1 || mode == 2)
        target->ftp->use_port = 1;
}

void set_server(const char* value, STarget* target) {
    ka_copy_text(target->ftp->host_name, value);
    ka_copy_text(target->http->url, value);
}

void set_file(const char* value, STarget* target) {
    ka_copy_text(target->ftp->file_path, value);
}

void set_user(const char* value, STarget* target) {
    ka_copy_text(target->ftp->username, value);
    ka_copy_text(target->http->username, value);
}

void set_password(const char* value, STarget* target) {
    ka_copy_text(target->ftp->password, value);
    ka_copy_text(target->http->password, value);
}

void set_size(const char* value, STarget* target) {
    target->ftp->put_size = ka_text_to_int64(value);
}

void set_dns(const char* value, STarget*) {
    ka_copy_text(g_dns_addr, value);
}

struct SOption {
    const char* text;
    void (*apply)(const char* value, STarget* target);
};

/// In the order in which they are tried.
constexpr SOption options[] = {
    {"-m", set_mode},  {"-t", set_data_mode}, {"-dst", set_server}, {"-f", set_file},
    {"-us", set_user}, {"-pw", set_password}, {"-size", set_size},  {"-dns", set_dns},
};

void apply_option(const char* argument, const char* value, STarget* target) {
    for (const SOption& option : options) {
        if (std::strstr(argument, option.text) != nullptr) {
            option.apply(value, target);
            return;
        }
    }
}

template <typename Test>
void delete_test(Test*& test) {
    delete std::exchange(test, nullptr);
}

}  // namespace

void set_test_defaults(SFtpBaseConfig* ftp, SHttpBaseConfig* http) {
    *ftp = {};
    ftp->ctrl_port = 21;
    ftp->ctrl_conn_timeout = 15000000;
    ftp->data_conn_timeout = 15000000;
    ftp->resp_timeout = 60000000;
    ftp->data_timeout = 60000000;
    *http = {};
    http->do_get = 1;
    http->conn_timeout = 5000000;
}

bool scan_options(int argc, const char* const* argv, SFtpBaseConfig* ftp, SHttpBaseConfig* http) {
    STarget target{ftp, http, false};
    for (int i = 1; i < argc; ++i) {
        const char* value = i + 1 < argc ? argv[i + 1] : nullptr;
        printf("i is %d,argc is %d, argv[i] is  %s, argv[i+1] is %s\n", i, argc, argv[i],
               value != nullptr ? value : "(null)");
        if (value != nullptr)
            apply_option(argv[i], value, &target);
    }
    return target.isHttp;
}

int run_net_test(int argc, const char* const* argv) {
    ka_copy_text(g_dns_addr, "");
    g_ftpBase = new (std::nothrow) CNetTest_FtpBase(0, 0);
    g_httpBase = new (std::nothrow) CNetTest_HttpBase(0, 0);
    if (g_ftpBase != nullptr && g_httpBase != nullptr) {
        set_test_defaults(&g_ftpBase->m_stFtpBaseConfig, &g_httpBase->m_stHttpBaseConfig);
        const bool is_http = scan_options(argc, argv, &g_ftpBase->m_stFtpBaseConfig,
                                          &g_httpBase->m_stHttpBaseConfig);
        CNetTest* test = g_ftpBase;
        if (is_http)
            test = g_httpBase;
        test->init();
        test->startTest();
        test->onMainLoop();
    }
    delete_test(g_ftpBase);
    delete_test(g_httpBase);
    return 0;
}
