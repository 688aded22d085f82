// Meanings of the library's error codes, for every message lx prints.
#include <cstdio>

#include "lx.h"

namespace {

struct ErrorText {
    int32_t code;
    const char *text;
};

const ErrorText kErrors[] = {
    {LX_OK, "success"},
    {LX_ERR_PLATFORM, "a platform operation failed"},
    {LX_ERR_ARGUMENT, "flags or mode value not allowed"},
    {LX_ERR_BUILTIN_ONLY, "only the built-in locale is available"},
    {LX_ERR_INIT, "the library could not start or a locale part could not be loaded"},
    {LX_ERR_NO_MEMORY, "out of memory"},
    {LX_ERR_FREE, "a memory block could not be freed"},
    {LX_ERR_NO_CODESET, "codeset not found"},
    {LX_ERR_NO_LANGUAGE, "language not found"},
    {LX_ERR_NOT_EXACT, "no exact native locale identifier"},
    {LX_ERR_NO_SORT, "sort order not found"},
    {LX_ERR_NO_TERRITORY, "territory not found"},
    {LX_ERR_UNKNOWN_ITEM, "unknown or unsuitable information item"},
    {LX_ERR_REJECTED, "value or part name or number rejected"},
    {LX_ERR_BUFFER, "output buffer too small; the result was cut"},
    {LX_ERR_BASE, "bad number base"},
    {LX_ERR_TIME_FORMAT, "unknown time directive or a '%' at the end"},
    {LX_ERR_OUTPUT_PENDING, "output buffer full; output pending"},
    {LX_ERR_INPUT_PENDING, "input ended inside a character"},
    {LX_ERR_STREAM_DIRECTION, "the stream's direction does not allow this"},
    {LX_ERR_STREAM_COMPLETE, "I/O failed while completing a cut-off character"},
    {LX_ERR_STREAM_FLUSH, "flushing the stream failed or was partial"},
    {LX_ERR_STREAM_PARTIAL, "the stream ended inside a character"},
    {LX_ERR_STREAM_EMPTY, "no bytes where a character was expected"},
    {LX_ERR_STREAM_REFUSED, "the write was refused; bytes kept pending"},
    {LX_ERR_NO_CATALOG, "no message catalog found, or not a valid catalog"},
    {LX_ERR_NO_MESSAGE, "message not in the catalog"},
    {LX_ERR_FILE_NOT_FOUND, "file not found"},
    {LX_ERR_ACCESS, "access denied"},
    {LX_ERR_WRITE_ONLY, "file opened for writing only"},
    {LX_ERR_IO, "read, seek or map failed, or a path too long"},
    {LX_ERR_UNMAP, "a mapped view could not be unmapped"},
    {LX_ERR_MAGIC, "not a locale file (bad magic number)"},
};

}  // namespace

const char *lx_error_text(int32_t code) {
    for (const ErrorText &e : kErrors)
        if (e.code == code) return e.text;
    return "unknown error code";
}

int lx_fail(const std::string &what, int32_t code) {
    std::fprintf(stderr, "lx: %s: error %d: %s\n", what.c_str(), int(code), lx_error_text(code));
    return 1;
}

int lx_usage_error(const std::string &message) {
    std::fprintf(stderr, "lx: %s (see lx help)\n", message.c_str());
    return 2;
}
