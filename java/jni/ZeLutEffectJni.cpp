// JNI glue of the ze.luteffect classes: handles are the C interface's
// pointers held in Java longs; every failure becomes a Java exception that
// carries the library's own reason, taken from its message callback.
#include <jni.h>

#include <cstdint>
#include <string>

#include "ZeLut3D.h"

namespace {

// The first warning or error the library emitted on this thread since the
// last call began, without its "file(line), function: " position.
thread_local std::string t_reason;
thread_local bool t_collecting = false;

void keepReason(int priority, const char*, const char* text)
{
    if (!t_collecting || priority < 5 || !t_reason.empty() || !text)
        return;
    std::string s = text;
    const size_t close = s.find("), ");
    const size_t colon = close == std::string::npos ? close : s.find(": ", close + 3);
    t_reason = colon == std::string::npos ? s : s.substr(colon + 2);
}

// Collects the reasons of one call into the library.
struct ReasonScope {
    ReasonScope()
    {
        t_reason.clear();
        t_collecting = true;
    }
    ~ReasonScope() { t_collecting = false; }
    std::string reason(const char* fallback) const
    {
        return t_reason.empty() ? fallback : t_reason;
    }
};

void throwNew(JNIEnv* env, const char* className, const std::string& message)
{
    if (jclass c = env->FindClass(className))
        env->ThrowNew(c, message.c_str());
}

void throwLut(JNIEnv* env, const std::string& reason)
{
    throwNew(env, "ze/luteffect/LutException", reason);
}

void throwArgument(JNIEnv* env, const std::string& message)
{
    throwNew(env, "java/lang/IllegalArgumentException", message);
}

jlong tableOrThrow(JNIEnv* env, Lut3DTable* table, const ReasonScope& scope)
{
    if (!table)
        throwLut(env, scope.reason("the library refused the table"));
    return reinterpret_cast<jlong>(table);
}

// A direct buffer's memory, checked to hold `needed` bytes from its start.
uint8_t* bytesOf(JNIEnv* env, jobject buffer, int64_t needed, const char* what)
{
    void* address = buffer ? env->GetDirectBufferAddress(buffer) : nullptr;
    if (!address) {
        throwArgument(env, std::string(what) + ": a direct ByteBuffer is needed");
        return nullptr;
    }
    if (env->GetDirectBufferCapacity(buffer) < needed) {
        throwArgument(env, std::string(what) + ": the buffer holds fewer than the " +
                               std::to_string(needed) + " bytes the frame needs");
        return nullptr;
    }
    return static_cast<uint8_t*>(address);
}

// Bytes a plane of `rows` rows needs, `rowBytes` used per row.
int64_t planeBytes(int stride, int rows, int64_t rowBytes)
{
    return int64_t{stride} * (rows - 1) + rowBytes;
}

bool sizesValid(JNIEnv* env, int width, int height, int yStride, int uvStride)
{
    const int chromaWidth = (width + 1) & ~1;
    if (width <= 0 || height <= 0) {
        throwArgument(env, "width and height must be positive");
        return false;
    }
    if (yStride < width || uvStride < chromaWidth) {
        throwArgument(env, "a row stride is smaller than the row it holds");
        return false;
    }
    return true;
}

void render(JNIEnv* env, jlong effect, jlong table, const Lut3DFrame& src, const Lut3DFrame& dst,
            int format, int matrix, int range, int width, int height)
{
    ReasonScope scope;
    Lut3DFrame s = src, d = dst;
    if (!ZecLut3DRenderEffect(reinterpret_cast<Lut3DEffect*>(effect),
                              reinterpret_cast<Lut3DTable*>(table), &s, &d,
                              static_cast<uint32_t>(format), static_cast<uint32_t>(matrix), range,
                              static_cast<uint32_t>(width), height, 0))
        throwLut(env, scope.reason("the library refused the frame"));
}

} // namespace

extern "C" {

JNIEXPORT jint JNI_OnLoad(JavaVM*, void*)
{
    ZecLut3DSetMessageCallback(keepReason);
    return JNI_VERSION_1_6;
}

JNIEXPORT jlong JNICALL Java_ze_luteffect_LutTable_nativeLoadFile(JNIEnv* env, jclass,
                                                                 jstring path)
{
    const char* utf = env->GetStringUTFChars(path, nullptr);
    if (!utf)
        return 0;
    ReasonScope scope;
    Lut3DTable* table = ZecLut3DLoadTableFromFile(utf);
    env->ReleaseStringUTFChars(path, utf);
    return tableOrThrow(env, table, scope);
}

JNIEXPORT jlong JNICALL Java_ze_luteffect_LutTable_nativeLoadBytes(JNIEnv* env, jclass,
                                                                  jbyteArray bytes)
{
    const jsize size = env->GetArrayLength(bytes);
    jbyte* data = env->GetByteArrayElements(bytes, nullptr);
    if (!data)
        return 0;
    ReasonScope scope;
    Lut3DTable* table = ZecLut3DLoadTableFromMemory(data, static_cast<size_t>(size));
    env->ReleaseByteArrayElements(bytes, data, JNI_ABORT);
    return tableOrThrow(env, table, scope);
}

JNIEXPORT jlong JNICALL Java_ze_luteffect_LutTable_nativeLoadBuffer(JNIEnv* env, jclass,
                                                                   jobject buffer, jint offset,
                                                                   jint length)
{
    const uint8_t* data = bytesOf(env, buffer, int64_t{offset} + length, "table buffer");
    if (!data)
        return 0;
    ReasonScope scope;
    return tableOrThrow(env, ZecLut3DLoadTableFromMemory(data + offset, static_cast<size_t>(length)),
                        scope);
}

JNIEXPORT void JNICALL Java_ze_luteffect_LutTable_nativeDestroy(JNIEnv*, jclass, jlong handle)
{
    ZecLut3DDestroyTable(reinterpret_cast<Lut3DTable*>(handle));
}

JNIEXPORT jlong JNICALL Java_ze_luteffect_LutEffect_nativeCreate(JNIEnv*, jclass, jint threads)
{
    return reinterpret_cast<jlong>(ZecLut3DCreateEffect(static_cast<uint32_t>(threads)));
}

JNIEXPORT void JNICALL Java_ze_luteffect_LutEffect_nativeDestroy(JNIEnv*, jclass, jlong handle)
{
    ZecLut3DDestroyEffect(reinterpret_cast<Lut3DEffect*>(handle));
}

JNIEXPORT void JNICALL Java_ze_luteffect_LutEffect_nativeRender(
    JNIEnv* env, jclass, jlong effect, jlong table, jobject srcY, jint srcYStride, jobject srcUV,
    jint srcUVStride, jobject dstY, jint dstYStride, jobject dstUV, jint dstUVStride, jint width,
    jint height, jint format, jint matrix, jint range)
{
    if (!sizesValid(env, width, height, srcYStride, srcUVStride) ||
        !sizesValid(env, width, height, dstYStride, dstUVStride))
        return;
    const int rows = (height + 1) / 2, chromaWidth = (width + 1) & ~1;
    uint8_t* sy = bytesOf(env, srcY, planeBytes(srcYStride, height, width), "source luma");
    uint8_t* suv = sy ? bytesOf(env, srcUV, planeBytes(srcUVStride, rows, chromaWidth), "source chroma") : nullptr;
    uint8_t* dy = suv ? bytesOf(env, dstY, planeBytes(dstYStride, height, width), "destination luma") : nullptr;
    uint8_t* duv = dy ? bytesOf(env, dstUV, planeBytes(dstUVStride, rows, chromaWidth), "destination chroma") : nullptr;
    if (!duv)
        return;
    render(env, effect, table, {sy, suv, nullptr, srcYStride, srcUVStride},
           {dy, duv, nullptr, dstYStride, dstUVStride}, format, matrix, range, width, height);
}

JNIEXPORT void JNICALL Java_ze_luteffect_LutEffect_nativeRenderYuv420(
    JNIEnv* env, jclass, jlong effect, jlong table, jobject y, jint yRowStride, jobject u,
    jobject v, jint uvRowStride, jint width, jint height, jint matrix, jint range)
{
    if (!sizesValid(env, width, height, yRowStride, uvRowStride))
        return;
    uint8_t* luma = bytesOf(env, y, planeBytes(yRowStride, height, width), "Y plane");
    uint8_t* uAt = luma && u ? static_cast<uint8_t*>(env->GetDirectBufferAddress(u)) : nullptr;
    uint8_t* vAt = luma && v ? static_cast<uint8_t*>(env->GetDirectBufferAddress(v)) : nullptr;
    if (!luma)
        return;
    // Interleaved chroma: the two planes are one buffer shifted by a byte;
    // the one that starts first holds the pairs' first bytes.
    if (!uAt || !vAt || (uAt + 1 != vAt && vAt + 1 != uAt)) {
        throwArgument(env, "the U and V planes do not interleave (pixel stride 2, one byte apart)");
        return;
    }
    const bool nv12 = uAt < vAt;
    uint8_t* chroma = nv12 ? uAt : vAt;
    // The first plane's buffer often stops a byte short of the last pair;
    // the second plane's end covers it.
    const int64_t extent = nv12 ? 1 + env->GetDirectBufferCapacity(v) : 1 + env->GetDirectBufferCapacity(u);
    const int64_t needed = planeBytes(uvRowStride, (height + 1) / 2, (width + 1) & ~1);
    if (extent < needed) {
        throwArgument(env, "the chroma planes hold fewer than the " + std::to_string(needed) +
                               " bytes the frame needs");
        return;
    }
    const Lut3DFrame frame = {luma, chroma, nullptr, yRowStride, uvRowStride};
    render(env, effect, table, frame, frame, nv12 ? 0 : 1, matrix, range, width, height);
}

} // extern "C"
