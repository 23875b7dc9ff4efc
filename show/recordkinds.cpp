#include "show/recordkinds.h"

#include "ftptest/ftprecord.h"
#include "httptest/httprecord.h"

const std::array<const SRecordKind*, 3> record_kinds = {&ftp_get_record, &ftp_put_record,
                                                        &http_record};

const SRecordKind* find_record_kind(std::string_view name) {
    for (const SRecordKind* kind : record_kinds) {
        if (name == kind->name || name == kind->path)
            return kind;
    }
    return nullptr;
}

const SRecordKind& guess_record_kind(std::string_view bytes) {
    for (const SRecordKind* kind : record_kinds) {
        if (bytes.find(kind->steps[kind->stepCount - 1].key) != std::string_view::npos)
            return *kind;
    }
    return http_record;
}
