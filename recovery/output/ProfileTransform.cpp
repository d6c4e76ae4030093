#include "recovery/output/ProfileTransform.h"

#include <lcms2.h>
#include <lcms2_plugin.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

namespace talvek::recovery::output {

namespace {

/// A damaged profile can state tables of any size; no sound one needs a block of this size.
constexpr cmsUInt32Number kMostAllocated = 24U << 20U;
constexpr std::size_t kMostProfile = 16U << 20U;
constexpr std::size_t kLeastProfile = 128;

void* allocate(cmsContext, cmsUInt32Number size)
{
    return size <= kMostAllocated ? std::malloc(size) : nullptr;
}

void release(cmsContext, void* block)
{
    std::free(block);
}

void* reallocate(cmsContext, void* block, cmsUInt32Number size)
{
    return size <= kMostAllocated ? std::realloc(block, size) : nullptr;
}

cmsPluginMemHandler memoryLimit()
{
    cmsPluginMemHandler handler{};
    handler.base.Magic = cmsPluginMagicNumber;
    handler.base.ExpectedVersion = 2000;
    handler.base.Type = cmsPluginMemHandlerSig;
    handler.MallocPtr = allocate;
    handler.FreePtr = release;
    handler.ReallocPtr = reallocate;
    return handler;
}

cmsColorSpaceSignature spaceOf(ColorMode mode)
{
    switch (mode) {
    case ColorMode::Cmyk:
        return cmsSigCmykData;
    case ColorMode::Lab:
        return cmsSigLabData;
    case ColorMode::Grayscale:
        return cmsSigGrayData;
    default:
        return cmsSigRgbData;
    }
}

/// Planar samples as the PSD format has them: inks are stored inverted.
cmsUInt32Number formatOf(ColorMode mode, std::size_t sampleBytes)
{
    const auto bytes = static_cast<cmsUInt32Number>(sampleBytes);
    const cmsUInt32Number common = PLANAR_SH(1U) | BYTES_SH(bytes);
    switch (mode) {
    case ColorMode::Cmyk:
        return common | COLORSPACE_SH(PT_CMYK) | CHANNELS_SH(4U) | FLAVOR_SH(1U);
    case ColorMode::Lab:
        return common | COLORSPACE_SH(PT_Lab) | CHANNELS_SH(3U);
    case ColorMode::Grayscale:
        return common | COLORSPACE_SH(PT_GRAY) | CHANNELS_SH(1U);
    default:
        return common | COLORSPACE_SH(PT_RGB) | CHANNELS_SH(3U);
    }
}

} // namespace

/// What is opened of the library; gone in the reverse order.
struct ProfileTransform::Library
{
    Library() : handler(memoryLimit()), context(cmsCreateContext(&handler, nullptr)) {}
    ~Library()
    {
        cmsFreeToneCurve(srgbCurve());
        close(source);
        close(target);
        cmsDeleteContext(context);
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    static void close(cmsHPROFILE profile)
    {
        if (profile != nullptr) {
            cmsCloseProfile(profile);
        }
    }
    /// The curve of sRGB, for profiles whose samples have been encoded with it.
    cmsToneCurve* srgbCurve()
    {
        if (curve == nullptr) {
            constexpr std::array<cmsFloat64Number, 5> kParameters = {2.4, 1 / 1.055, 0.055 / 1.055,
                                                                     1 / 12.92, 0.04045};
            curve = cmsBuildParametricToneCurve(context, 4, kParameters.data());
        }
        return curve;
    }
    void replaceCurves()
    {
        for (const cmsTagSignature tag :
             {cmsSigRedTRCTag, cmsSigGreenTRCTag, cmsSigBlueTRCTag, cmsSigGrayTRCTag}) {
            if (cmsIsTag(source, tag) != 0) {
                cmsWriteTag(source, tag, srgbCurve());
            }
        }
    }
    /// Sound, of this colour space, and good to read colours with.
    bool open(std::span<const std::uint8_t> bytes, ColorMode mode)
    {
        if (bytes.size() < kLeastProfile || bytes.size() > kMostProfile) {
            return false;
        }
        source = cmsOpenProfileFromMemTHR(context, bytes.data(),
                                          static_cast<cmsUInt32Number>(bytes.size()));
        if (source != nullptr && cmsGetColorSpace(source) == spaceOf(mode) &&
            cmsGetDeviceClass(source) != cmsSigLinkClass &&
            cmsGetDeviceClass(source) != cmsSigNamedColorClass) {
            return true;
        }
        close(std::exchange(source, nullptr));
        return false;
    }

    cmsPluginMemHandler handler;
    cmsContext context;
    cmsHPROFILE source = nullptr;
    cmsHPROFILE target = nullptr;
    cmsToneCurve* curve = nullptr;
};

ProfileTransform::ProfileTransform(std::span<const std::uint8_t> profile, ColorMode mode, int depth,
                                   bool isLight)
    : m_library(std::make_unique<Library>()), m_sampleBytes(depth > 8 ? 2 : 1)
{
    const std::uint32_t format = formatOf(mode, m_sampleBytes);
    if (m_library->open(profile, mode)) {
        if (isLight) {
            m_library->replaceCurves();
        }
        make(cmsFLAGS_BLACKPOINTCOMPENSATION, format);
        m_usesProfile = m_transform != nullptr;
    }
    if (m_transform == nullptr && mode == ColorMode::Lab) {
        Library::close(
            std::exchange(m_library->source, cmsCreateLab4ProfileTHR(m_library->context, nullptr)));
        make(0, format);
    }
    if (m_transform != nullptr && changesNothing(mode)) {
        cmsDeleteTransform(std::exchange(m_transform, nullptr));
    }
}

ProfileTransform::~ProfileTransform()
{
    if (m_transform != nullptr) {
        cmsDeleteTransform(m_transform);
    }
}

void ProfileTransform::make(std::uint32_t flags, std::uint32_t inFormat)
{
    m_library->target = cmsCreate_sRGBProfileTHR(m_library->context);
    const cmsUInt32Number outFormat = COLORSPACE_SH(PT_RGB) | CHANNELS_SH(3U) | EXTRA_SH(1U) |
                                      BYTES_SH(static_cast<cmsUInt32Number>(m_sampleBytes));
    // Near the edge of what sRGB holds, the coarser tables are off by up to 20 of 255.
    flags |= cmsFLAGS_HIGHRESPRECALC;
    if (m_library->source != nullptr && m_library->target != nullptr) {
        m_transform = cmsCreateTransformTHR(m_library->context, m_library->source, inFormat,
                                            m_library->target, outFormat,
                                            INTENT_RELATIVE_COLORIMETRIC, flags);
    }
}

/// Most documents are in sRGB, under one of its many names: seen by trying, on a grid of colours,
/// that no 8-bit colour would move by more than a step.
bool ProfileTransform::changesNothing(ColorMode mode)
{
    constexpr std::size_t kSteps = 18;
    if (mode != ColorMode::Rgb && mode != ColorMode::Grayscale) {
        return false;
    }
    const std::size_t planes = mode == ColorMode::Rgb ? 3 : 1;
    const std::size_t count = mode == ColorMode::Rgb ? kSteps * kSteps * kSteps : 256;
    const std::size_t spread = m_sampleBytes == 2 ? 257 : 1;
    const auto level = [&](std::size_t colour, std::size_t plane) {
        constexpr std::array<std::size_t, 3> kDivide = {1, kSteps, kSteps * kSteps};
        return planes == 1 ? colour : colour / kDivide[plane] % kSteps * (255 / (kSteps - 1));
    };
    std::vector<std::uint16_t> in16(planes * count);
    std::vector<std::uint8_t> in8(planes * count);
    for (std::size_t i = 0; i < in16.size(); ++i) {
        in8[i] = static_cast<std::uint8_t>(level(i % count, i / count));
        in16[i] = static_cast<std::uint16_t>(in8[i] * spread);
    }
    std::vector<std::uint16_t> out16(4 * count);
    std::vector<std::uint8_t> out8(4 * count);
    run(m_sampleBytes == 2 ? static_cast<const void*>(in16.data()) : in8.data(), count, count,
        m_sampleBytes == 2 ? static_cast<void*>(out16.data()) : out8.data());
    for (std::size_t i = 0; i < 3 * count; ++i) {
        const std::size_t out = 4 * (i / 3) + i % 3;
        const auto before = static_cast<long>(level(i / 3, planes == 1 ? 0 : i % 3) * spread);
        const long after = m_sampleBytes == 2 ? long{out16[out]} : long{out8[out]};
        if (std::abs(after - before) > static_cast<long>(spread)) {
            return false;
        }
    }
    return true;
}

void ProfileTransform::run(const void* samples, std::size_t stride, std::size_t columns, void* rgba)
{
    const auto planeBytes = static_cast<cmsUInt32Number>(stride * m_sampleBytes);
    const auto rowBytes = static_cast<cmsUInt32Number>(4 * columns * m_sampleBytes);
    cmsDoTransformLineStride(m_transform, samples, rgba, static_cast<cmsUInt32Number>(columns), 1,
                             planeBytes, rowBytes, planeBytes, 0);
}

} // namespace talvek::recovery::output
