#include "frontend/preview/RowSamples.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cassert>
#include <cmath>

namespace talvek {

namespace {

constexpr std::uint16_t kFull = 65535;

/// Bytes of a sample; the eight of a byte of bits share it.
std::int64_t sampleBytes(SampleKind kind)
{
    switch (kind) {
    case SampleKind::Bit:
    case SampleKind::Byte:
        return 1;
    case SampleKind::Word:
        return 2;
    case SampleKind::LinearReal:
    case SampleKind::PlainReal:
        break;
    }
    return 4;
}

/// A real number's place between black and white; what is no number is black.
std::uint16_t clampedReal(std::uint32_t bits)
{
    const float value = std::bit_cast<float>(bits);
    if (!(value > 0.0F)) {
        return 0;
    }
    return static_cast<std::uint16_t>(std::lround(std::min(value, 1.0F) * kFull));
}

std::vector<std::uint16_t> makeSrgbCurve()
{
    std::vector<std::uint16_t> curve(kFull + 1U);
    for (std::size_t i = 0; i < curve.size(); ++i) {
        const double linear = static_cast<double>(i) / kFull;
        const double shown =
            linear <= 0.0031308 ? linear * 12.92 : 1.055 * std::pow(linear, 1.0 / 2.4) - 0.055;
        curve[i] = static_cast<std::uint16_t>(std::lround(shown * kFull));
    }
    return curve;
}

/// A power for every sample would take longer than all the rest.
std::uint16_t onSrgbCurve(std::uint16_t linear)
{
    static const std::vector<std::uint16_t> curve = makeSrgbCurve();
    return curve[linear];
}

std::uint16_t sampleOf(SampleKind kind, std::uint32_t value, std::int32_t column)
{
    switch (kind) {
    case SampleKind::Bit:
        return (value >> (7U - (static_cast<std::uint32_t>(column) & 7U)) & 1U) != 0 ? 0 : kFull;
    case SampleKind::Byte:
        return static_cast<std::uint16_t>(value * 257U);
    case SampleKind::Word:
        return static_cast<std::uint16_t>(value);
    case SampleKind::LinearReal:
        return onSrgbCurve(clampedReal(value));
    case SampleKind::PlainReal:
        break;
    }
    return clampedReal(value);
}

} // namespace

Sampling Sampling::over(std::int64_t first, std::int64_t length, std::int64_t target)
{
    assert(target >= 1 && target <= length);
    const std::int64_t perPixel = std::min((length + target - 1) / target, kMostPerPixel);
    const std::int64_t count = target * perPixel;
    Sampling sampling;
    sampling.perPixel = static_cast<std::int32_t>(perPixel);
    sampling.positions.reserve(static_cast<std::size_t>(count));
    for (std::int64_t i = 0; i < count; ++i) {
        // The middle of the i-th of `count` equal stretches.
        sampling.positions.push_back(
            static_cast<std::int32_t>(first + (2 * i + 1) * length / (2 * count)));
    }
    return sampling;
}

RowPicker::RowPicker(SampleKind kind, std::span<const std::int32_t> columns,
                     std::span<std::uint16_t> into)
    : m_kind(kind), m_columns(columns), m_into(into), m_sampleBytes(sampleBytes(kind))
{
    assert(into.size() == columns.size());
}

std::int64_t RowPicker::byteOf(std::int32_t column) const
{
    return m_kind == SampleKind::Bit ? column / 8 : column * m_sampleBytes;
}

std::int64_t RowPicker::firstByte() const
{
    return m_columns.empty() ? 0 : byteOf(m_columns.front());
}

std::int64_t RowPicker::endByte() const
{
    return m_columns.empty() ? 0 : byteOf(m_columns.back()) + m_sampleBytes;
}

void RowPicker::feed(std::span<const std::uint8_t> bytes)
{
    const std::int64_t end = m_position + static_cast<std::int64_t>(bytes.size());
    while (!isDone()) {
        const std::int64_t wanted = byteOf(m_columns[m_picked]) + m_held;
        if (wanted < m_position || wanted >= end) {
            break;
        }
        m_value = m_value << 8U | bytes[static_cast<std::size_t>(wanted - m_position)];
        if (++m_held == m_sampleBytes) {
            finishSample();
        }
    }
    m_position = end;
}

void RowPicker::finishSample()
{
    const std::int32_t column = m_columns[m_picked];
    const std::uint16_t sample = sampleOf(m_kind, m_value, column);
    // A picture that is hardly reduced asks for some columns twice.
    while (!isDone() && m_columns[m_picked] == column) {
        m_into[m_picked++] = sample;
    }
    m_value = 0;
    m_held = 0;
}

void RowPicker::feedRepeated(std::uint8_t byte, std::size_t count)
{
    std::array<std::uint8_t, 128> run;
    run.fill(byte);
    for (std::size_t left = count; left > 0;) {
        const std::size_t piece = std::min(left, run.size());
        feed(std::span(run).first(piece));
        left -= piece;
    }
}

void expandPackedRow(std::span<const std::uint8_t> packed, RowPicker& picker)
{
    for (std::size_t at = 0; at < packed.size() && !picker.isDone();) {
        const std::size_t control = packed[at++];
        if (control < 128) {
            const std::size_t count = std::min(control + 1, packed.size() - at);
            picker.feed(packed.subspan(at, count));
            at += count;
        } else if (control > 128 && at < packed.size()) {
            picker.feedRepeated(packed[at++], 257 - control);
        }
    }
}

std::int64_t packedRowLength(std::span<const std::uint8_t> packed, std::int64_t rowBytes)
{
    std::int64_t plain = 0;
    std::size_t at = 0;
    while (plain < rowBytes && at < packed.size()) {
        const std::size_t control = packed[at++];
        if (control < 128) {
            plain += static_cast<std::int64_t>(control) + 1;
            at += control + 1;
        } else if (control > 128) {
            plain += 257 - static_cast<std::int64_t>(control);
            ++at;
        }
    }
    return plain == rowBytes && at <= packed.size() ? static_cast<std::int64_t>(at) : -1;
}

} // namespace talvek
