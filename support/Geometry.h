#pragma once
// Window frames and positions as the settings file stores them: floats, edges inclusive.

struct Point {
    float x = 0;
    float y = 0;
    bool operator==(const Point&) const = default;
};

struct Rect {
    float left = 0;
    float top = 0;
    float right = -1;
    float bottom = -1;

    float Width() const { return right - left; }
    float Height() const { return bottom - top; }
    bool IsValid() const { return left <= right && top <= bottom; }
    bool operator==(const Rect&) const = default;
};
