#include "codecs/TiffFile.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>

namespace velhost {

TiffFile::TiffFile(Bytes data, uint64_t allocationLimit) : m_data(data) { Open("r", allocationLimit); }

TiffFile::TiffFile(std::vector<uint8_t>& out, bool big) : m_out(&out) { Open(big ? "w8" : "w", 0); }

void TiffFile::Open(const char* mode, uint64_t allocationLimit) {
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    if (!options) throw std::bad_alloc();
    TIFFOpenOptionsSetErrorHandlerExtR(options, OnError, this);
    TIFFOpenOptionsSetWarningHandlerExtR(options, OnWarning, this);
    if (allocationLimit != 0) {
        const uint64_t limit = std::min<uint64_t>(allocationLimit, PTRDIFF_MAX);
        TIFFOpenOptionsSetMaxSingleMemAlloc(options, static_cast<tmsize_t>(limit));
    }
    const auto onClose = [](thandle_t) { return 0; };
    const auto onUnmap = [](thandle_t, void*, toff_t) {};
    m_tiff = TIFFClientOpenExt("", mode, this, OnRead, OnWrite, OnSeek, onClose, OnSize, OnMap, onUnmap, options);
    TIFFOpenOptionsFree(options);
    if (!m_tiff) ThrowDamaged("TIFF: %s", Trouble("cannot be opened"));
}

void TiffFile::Close() {
    if (m_tiff) TIFFClose(m_tiff);
    m_tiff = nullptr;
}

uint32_t TiffFile::Field16(uint32_t tag) const {
    uint16_t value = 0;
    return TIFFGetFieldDefaulted(m_tiff, tag, &value) ? value : 0;
}

uint32_t TiffFile::Field32(uint32_t tag) const {
    uint32_t value = 0;
    return TIFFGetFieldDefaulted(m_tiff, tag, &value) ? value : 0;
}

tmsize_t TiffFile::OnRead(thandle_t handle, void* to, tmsize_t bytes) {
    TiffFile& file = Of(handle);
    const Bytes data = file.m_out ? Bytes(*file.m_out) : file.m_data;
    if (file.m_at >= data.size() || bytes <= 0) return 0;
    const size_t count = std::min<size_t>(static_cast<size_t>(bytes), data.size() - static_cast<size_t>(file.m_at));
    std::memcpy(to, data.data() + file.m_at, count);
    file.m_at += count;
    return static_cast<tmsize_t>(count);
}

tmsize_t TiffFile::OnWrite(thandle_t handle, void* from, tmsize_t bytes) {
    TiffFile& file = Of(handle);
    if (!file.m_out || bytes <= 0) return 0;
    const auto count = static_cast<size_t>(bytes);
    const auto at = static_cast<size_t>(file.m_at);
    try {
        if (file.m_out->size() < at + count) file.m_out->resize(at + count);
    } catch (const std::exception&) {
        return 0;
    }
    std::memcpy(file.m_out->data() + at, from, count);
    file.m_at += count;
    return bytes;
}

toff_t TiffFile::OnSeek(thandle_t handle, toff_t offset, int whence) {
    TiffFile& file = Of(handle);
    const uint64_t base = whence == SEEK_CUR ? file.m_at : whence == SEEK_END ? OnSize(handle) : 0;
    file.m_at = base + offset;
    return file.m_at;
}

toff_t TiffFile::OnSize(thandle_t handle) {
    const TiffFile& file = Of(handle);
    return file.m_out ? file.m_out->size() : file.m_data.size();
}

int TiffFile::OnMap(thandle_t handle, void** base, toff_t* size) {
    TiffFile& file = Of(handle);
    if (file.m_out) return 0;
    *base = const_cast<uint8_t*>(file.m_data.data());  // libtiff only reads what it maps
    *size = file.m_data.size();
    return 1;
}

int TiffFile::OnWarning(TIFF*, void* user, const char*, const char* format, va_list arguments) {
    char text[256];
    std::vsnprintf(text, sizeof text, format, arguments);
    if (!std::strstr(text, "ignored")) return 1;
    for (const char* field : {"ColorMap", "ExtraSamples", "SampleFormat", "BitsPerSample", "FillOrder", "Predictor"}) {
        if (std::strstr(text, field)) static_cast<TiffFile*>(user)->m_fieldLost = true;
    }
    return 1;
}

int TiffFile::OnError(TIFF*, void* user, const char*, const char* format, va_list arguments) {
    auto* file = static_cast<TiffFile*>(user);
    if (file->m_text[0] == '\0') std::vsnprintf(file->m_text, sizeof file->m_text, format, arguments);
    return 1;
}

namespace {

bool Matches(Bytes data) {
    if (data.size() < 4) return false;
    const uint8_t* p = data.data();
    return (p[0] == 'I' && p[1] == 'I' && (p[2] == 42 || p[2] == 43) && p[3] == 0) ||
           (p[0] == 'M' && p[1] == 'M' && p[2] == 0 && (p[3] == 42 || p[3] == 43));
}

// "LIBTIFF, Version 4.5.0\n..." becomes "libtiff 4.5.0".
std::string Version() {
    std::string text = TIFFGetVersion();
    text = text.substr(0, text.find('\n'));
    return "libtiff " + text.substr(text.rfind(' ') + 1);
}

}  // namespace

const Codec& TiffCodec() {
    static const Codec codec{"tiff",   "Tagged Image File Format", {"tif", "tiff"}, Version(), Matches, ReadTiff,
                             WriteTiff};
    return codec;
}

}  // namespace velhost
