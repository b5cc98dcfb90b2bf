#pragma once
// The colour vocabulary of Tavro's drawing: 8-bit components with alpha, the panel tints, and
// the conversions to Qt's colours.

#include <QColor>

#include "support/Types.h"

struct rgb_color {
    uint8 red = 0;
    uint8 green = 0;
    uint8 blue = 0;
    uint8 alpha = 255;

    QColor ToQColor() const { return QColor(red, green, blue, alpha); }
    static rgb_color From(const QColor& color) {
        return {uint8(color.red()), uint8(color.green()), uint8(color.blue()),
                uint8(color.alpha())};
    }
};

// Equal only when all four components are: two colours that differ in alpha alone differ.
inline bool operator==(const rgb_color& a, const rgb_color& b) {
    return a.red == b.red && a.green == b.green && a.blue == b.blue && a.alpha == b.alpha;
}
inline bool operator!=(const rgb_color& a, const rgb_color& b) {
    return !(a == b);
}

// Tints: below 1.0 lightens towards white, above 1.0 darkens towards black.
constexpr float B_LIGHTEN_2_TINT = 0.385f;
constexpr float B_LIGHTEN_1_TINT = 0.590f;
constexpr float B_NO_TINT = 1.0f;
constexpr float B_DARKEN_1_TINT = 1.147f;
constexpr float B_DARKEN_2_TINT = 1.295f;
constexpr float B_DARKEN_3_TINT = 1.407f;

// Alpha is kept; components are cut off to integers.
inline rgb_color tintColor(rgb_color color, float tint) {
    auto tintOne = [tint](uint8 value) -> uint8 {
        float result = tint < 1.0f ? 255.0f - (255.0f - value) * tint : value * (2.0f - tint);
        if (result < 0)
            return 0;
        return result > 255 ? uint8(255) : uint8(result);
    };
    return {tintOne(color.red), tintOne(color.green), tintOne(color.blue), color.alpha};
}
