#include "recovery/Blending.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace talvek::recovery {

namespace {

float normal(float /*below*/, float above)
{
    return above;
}

float multiply(float below, float above)
{
    return below * above;
}

float screen(float below, float above)
{
    return below + above - below * above;
}

float darken(float below, float above)
{
    return std::min(below, above);
}

float lighten(float below, float above)
{
    return std::max(below, above);
}

float hardLight(float below, float above)
{
    return above <= 0.5F ? multiply(below, 2 * above) : screen(below, 2 * above - 1);
}

float overlay(float below, float above)
{
    return hardLight(above, below);
}

float softLight(float below, float above)
{
    const float end = above <= 0.5F ? below * below : std::sqrt(std::max(below, 0.0F));
    return below + std::abs(2 * above - 1) * (end - below);
}

float difference(float below, float above)
{
    return std::abs(below - above);
}

float exclusion(float below, float above)
{
    return below + above - 2 * below * above;
}

float colorDodge(float below, float above)
{
    if (below <= 0) {
        return 0;
    }
    return below >= 1 - above ? 1 : below / (1 - above);
}

float colorBurn(float below, float above)
{
    if (below >= 1) {
        return 1;
    }
    return 1 - below >= above ? 0 : 1 - (1 - below) / above;
}

float linearDodge(float below, float above)
{
    return std::min(1.0F, below + above);
}

float linearBurn(float below, float above)
{
    return std::max(0.0F, below + above - 1);
}

float vividLight(float below, float above)
{
    return above <= 0.5F ? colorBurn(below, 2 * above) : colorDodge(below, 2 * above - 1);
}

float linearLight(float below, float above)
{
    return std::clamp(below + 2 * above - 1, 0.0F, 1.0F);
}

float pinLight(float below, float above)
{
    return above <= 0.5F ? darken(below, 2 * above) : lighten(below, 2 * above - 1);
}

float hardMix(float below, float above)
{
    return below + above >= 1 ? 1 : 0;
}

float subtract(float below, float above)
{
    return std::max(0.0F, below - above);
}

float divide(float below, float above)
{
    return below >= above ? 1 : below / above;
}

constexpr std::array<std::pair<std::string_view, Blend>, 21> kBlends = {{
    {"norm", normal},      {"pass", normal},      {"mul ", multiply},   {"scrn", screen},
    {"dark", darken},      {"lite", lighten},     {"hLit", hardLight},  {"over", overlay},
    {"sLit", softLight},   {"diff", difference},  {"smud", exclusion},  {"div ", colorDodge},
    {"idiv", colorBurn},   {"lddg", linearDodge}, {"lbrn", linearBurn}, {"vLit", vividLight},
    {"lLit", linearLight}, {"pLit", pinLight},    {"hMix", hardMix},    {"fsub", subtract},
    {"fdiv", divide},
}};

} // namespace

Blend blendOf(std::string_view letters)
{
    const auto found = std::find_if(kBlends.begin(), kBlends.end(),
                                    [letters](const auto& one) { return one.first == letters; });
    return found == kBlends.end() ? normal : found->second;
}

bool isBlendKnown(std::string_view letters)
{
    return std::any_of(kBlends.begin(), kBlends.end(),
                       [letters](const auto& one) { return one.first == letters; });
}

} // namespace talvek::recovery
