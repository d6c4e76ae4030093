#pragma once

#include "samples/Picture.h"

#include <cstdint>
#include <string>
#include <vector>

namespace talvek::samples {

/// How a layer record takes part in the layers' tree.
enum class Role : std::uint8_t
{
    picture = 0,
    groupTop = 1,   ///< the group's own record, above what it holds
    groupBottom = 3 ///< below what it holds
};

struct Layer
{
    std::string name;
    Picture picture{Rectangle{}};
    std::string blendMode = "norm";
    std::vector<std::uint8_t> mask = {}; ///< as large as the picture, or empty
    bool clear = true;                   ///< has an opacity channel
    bool raw = false;                    ///< raw instead of PackBits
    Role role = Role::picture;
};

struct Document
{
    Picture composite;
    Picture thumbnail;
    std::vector<Layer> layers; ///< the lowest first
};

/// The document as an undamaged file of the PSD format: RGB, 8 bits a channel.
std::string psdOf(const Document& document);

} // namespace talvek::samples
