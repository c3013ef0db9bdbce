/*
 * Lut3DFileData - a LUT file read and checked, before any table is built.
 *
 *   Lut3DFileData* file = Lut3DFileDataCreate(CZeString::fromUtf8(path));
 *   if (file && file->loaded() && file->threeDimensional && file->entryType == 0)
 *       build(file->levelValues(), file->levelCount(), file->entries);
 *   Lut3DFileDataDestroy(file);
 *
 * File layout (little-endian): a 48-byte header - signature ".KD-LUT ",
 * version 1, level count N (1 to 65), entry type (0: 3 x uint8, 3: 3 x 32
 * bits), dimensions (0: one-dimensional, N entries; else N^3 entries), the
 * absolute offset of the level values at byte 32 - then N float32 level
 * values at that offset, followed at once by the entries (blue index
 * fastest).
 *
 * Loading happens in the constructor; every failure leaves the record
 * unloaded (no level values, no entries) and reports through the debug log
 * where the format calls for a message. The file is closed before the
 * constructor returns, whatever happened.
 */
#ifndef LUT3DFILEDATA_H
#define LUT3DFILEDATA_H

#include <cstdint>

#include "CZeString.h"

// A float array from the loader's allocation point (Lut3DMemory.h).
class Lut3DLevelArray {
public:
    Lut3DLevelArray() = default;
    ~Lut3DLevelArray() { clear(); }
    Lut3DLevelArray(const Lut3DLevelArray&) = delete;
    Lut3DLevelArray& operator=(const Lut3DLevelArray&) = delete;

    // count zero-filled values; false (and empty) when the block cannot be had.
    bool resize(uint32_t count);
    void clear();
    // Takes the other's values; the other is left empty.
    void take(Lut3DLevelArray& other);

    float* data() const { return m_values; }
    uint32_t size() const { return m_count; }
    bool isEmpty() const { return m_count == 0; }

private:
    float* m_values = nullptr;
    uint32_t m_count = 0;
};

struct Lut3DFileData {
    // Keeps (shares) the path and loads the file at once.
    explicit Lut3DFileData(const CZeString& path);
    ~Lut3DFileData();
    Lut3DFileData(const Lut3DFileData&) = delete;
    Lut3DFileData& operator=(const Lut3DFileData&) = delete;

    // Loaded exactly when the level values are there.
    bool loaded() const { return !levels.isEmpty(); }
    uint32_t levelCount() const { return levels.size(); }
    const float* levelValues() const { return levels.isEmpty() ? nullptr : levels.data(); }

    CZeString path;                // for messages
    uint32_t version = 0;          // 0 until loaded
    bool threeDimensional = true;  // true until loaded
    Lut3DLevelArray levels;        // N values once loaded
    uint32_t entryType = 0;        // 0 until loaded
    uint8_t* entries = nullptr;    // 64-byte aligned raw entries, or null

private:
    void load();
};

// A loaded or unloaded record (see loaded()); null only when the record
// itself cannot be allocated.
Lut3DFileData* Lut3DFileDataCreate(const CZeString& path);
// Frees the entries, the level values and the record. Null is ignored.
void Lut3DFileDataDestroy(Lut3DFileData* file);

#endif // LUT3DFILEDATA_H
