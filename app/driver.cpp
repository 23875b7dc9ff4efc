#include "app/driver.h"

#include <cstdio>
#include <cstring>

#include "ftptest/ftprecord.h"
#include "httptest/httprecord.h"
#include "netbase/support/textvalue.h"
#include "netbase/support/trace.h"

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

const SOption* find_option(const char* argument) {
    for (const SOption& option : options) {
        if (std::strstr(argument, option.text) != nullptr)
            return &option;
    }
    return nullptr;
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

bool read_options(int argc, const char* const* argv, SFtpBaseConfig* ftp, SHttpBaseConfig* http) {
    STarget target{ftp, http, false};
    for (int i = 1; i + 1 < argc; ++i) {
        if (const SOption* option = find_option(argv[i]))
            option->apply(argv[i + 1], &target);
    }
    return target.isHttp;
}

bool scan_options(int argc, const char* const* argv, SFtpBaseConfig* ftp, SHttpBaseConfig* http) {
    for (int i = 1; i < argc; ++i)
        ka_trace("i is %d,argc is %d, argv[i] is  %s, argv[i+1] is %s\n", i, argc, argv[i],
                 i + 1 < argc ? argv[i + 1] : "(null)");
    return read_options(argc, argv, ftp, http);
}

const SRecordKind* find_run_record(int argc, const char* const* argv) {
    SFtpBaseConfig ftp;
    SHttpBaseConfig http;
    set_test_defaults(&ftp, &http);
    return read_options(argc, argv, &ftp, &http) ? &http_record : ftp_record_of(ftp);
}

void hide_passwords(int argc, char** argv) {
    for (int i = 1; i + 1 < argc; ++i) {
        const SOption* option = find_option(argv[i]);
        if (option == nullptr || option->apply != set_password)
            continue;
        char* shown = argv[i + 1];
        argv[i + 1] = strdup(shown);
        if (argv[i + 1] == nullptr)
            argv[i + 1] = shown;
        else
            std::memset(shown, '*', std::strlen(shown));
    }
}

void run_chosen_test(int argc, const char* const* argv) {
    set_test_defaults(&g_ftpBase->m_stFtpBaseConfig, &g_httpBase->m_stHttpBaseConfig);
    const bool is_http =
        scan_options(argc, argv, &g_ftpBase->m_stFtpBaseConfig, &g_httpBase->m_stHttpBaseConfig);
    CNetTest* test = g_ftpBase;
    if (is_http)
        test = g_httpBase;
    test->init();
    test->startTest();
    test->onMainLoop();
}
