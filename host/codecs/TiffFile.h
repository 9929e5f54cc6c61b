// libtiff on memory: opening, its messages, its header fields.
#pragma once

#include <tiffio.h>

#include <string>
#include <vector>

#include "codecs/Codec.h"

#if TIFFLIB_VERSION < 20221213
#error "libtiff 4.5 or later is needed: its messages are kept per file, not per process"
#endif

namespace velhost {

// A TIFF open for reading in `data` or for writing into `out`. libtiff calls back into it; no exception passes.
class TiffFile {
public:
    TiffFile(Bytes data, uint64_t allocationLimit);
    explicit TiffFile(std::vector<uint8_t>& out, bool big);
    TiffFile(const TiffFile&) = delete;
    TiffFile& operator=(const TiffFile&) = delete;
    ~TiffFile() { Close(); }

    // Writes what is left to write.
    void Close();
    TIFF* Get() const { return m_tiff; }
    // The first error message since opening, or `otherwise`.
    const char* Trouble(const char* otherwise) const { return m_text[0] ? m_text : otherwise; }

    // A field that says what pixels mean was broken and left out by libtiff, which then guesses.
    bool FieldLost() const { return m_fieldLost; }

    // A field's value, libtiff's default where the file has none.
    uint32_t Field16(uint32_t tag) const;
    uint32_t Field32(uint32_t tag) const;

private:
    void Open(const char* mode, uint64_t allocationLimit);

    static TiffFile& Of(thandle_t handle) { return *static_cast<TiffFile*>(handle); }
    static tmsize_t OnRead(thandle_t handle, void* to, tmsize_t bytes);
    static tmsize_t OnWrite(thandle_t handle, void* from, tmsize_t bytes);
    static toff_t OnSeek(thandle_t handle, toff_t offset, int whence);
    static toff_t OnSize(thandle_t handle);
    static int OnMap(thandle_t handle, void** base, toff_t* size);
    static int OnWarning(TIFF* tiff, void* user, const char* module, const char* format, va_list arguments);
    static int OnError(TIFF* tiff, void* user, const char* module, const char* format, va_list arguments);

    TIFF* m_tiff = nullptr;
    Bytes m_data;
    std::vector<uint8_t>* m_out = nullptr;
    uint64_t m_at = 0;
    bool m_fieldLost = false;
    char m_text[256] = "";
};

Loaded ReadTiff(Bytes data, const LoadOptions& options, bool pixels);
void WriteTiff(const Image& image, const SaveOptions& options, std::vector<uint8_t>& out);

}  // namespace velhost
