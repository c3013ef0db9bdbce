/*
 * Lut3DFileData - a LUT file read and checked, before any table is built.
 *
 *   Lut3DFileData* file = Lut3DFileDataCreate(CZeString::fromUtf8(path));
 *   if (file && file->loaded() && file->threeDimensional && file->entryType == 0)
 *       build(file->levels, file->levelCount, file->entries);
 *   Lut3DFileDataDestroy(file);
 *
 * The bytes are parsed by the format module (lut/format/Lut3DFormat.h); this
 * record adds where they come from and what the host is told. Loading
 * happens in the constructor; every failure leaves the record unloaded (no
 * level values, no entries) and reports through the debug log where the
 * format calls for a message. A file is closed before the constructor
 * returns, whatever happened.
 */
#ifndef LUT3DFILEDATA_H
#define LUT3DFILEDATA_H

#include <cstddef>
#include <cstdint>

#include "CZeString.h"

class Lut3DByteSource;

struct Lut3DFileData {
    // Keeps (shares) the path and loads the file at once.
    explicit Lut3DFileData(const CZeString& path);
    // Loads from size bytes at data, which must stay valid for the call only.
    Lut3DFileData(const void* data, size_t size);
    ~Lut3DFileData();
    Lut3DFileData(const Lut3DFileData&) = delete;
    Lut3DFileData& operator=(const Lut3DFileData&) = delete;

    // Loaded exactly when the level values are there.
    bool loaded() const { return levelCount != 0; }

    CZeString path;                // for messages; null for memory
    uint32_t version = 0;          // 0 until loaded
    bool threeDimensional = true;  // true until loaded
    float* levels = nullptr;       // levelCount values once loaded, 64-byte aligned
    uint32_t levelCount = 0;
    uint32_t entryType = 0;        // 0 until loaded
    uint8_t* entries = nullptr;    // 64-byte aligned raw entries, or null

private:
    void load();                        // from the file at `path`
    void load(Lut3DByteSource& source);
};

// A loaded or unloaded record (see loaded()); null only when the record
// itself cannot be allocated.
Lut3DFileData* Lut3DFileDataCreate(const CZeString& path);
Lut3DFileData* Lut3DFileDataCreateFromMemory(const void* data, size_t size);
// Frees the entries, the level values and the record. Null is ignored.
void Lut3DFileDataDestroy(Lut3DFileData* file);

#endif // LUT3DFILEDATA_H
