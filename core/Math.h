#pragma once
// Small fixed vectors of 32-bit floats: positions, sizes and points everywhere.
#include <cmath>
#include <cstddef>

namespace math {

template <std::size_t n, typename T> struct Vecnt;

template <typename T> struct Vecnt<2, T> {
    T x{}, y{};
    constexpr Vecnt() = default;
    constexpr Vecnt(T x_, T y_) : x(x_), y(y_) {}
    constexpr Vecnt operator+(const Vecnt& o) const { return {x + o.x, y + o.y}; }
    constexpr Vecnt operator-(const Vecnt& o) const { return {x - o.x, y - o.y}; }
    constexpr Vecnt operator*(T s) const { return {x * s, y * s}; }
    constexpr Vecnt operator/(T s) const { return {x / s, y / s}; }
    Vecnt& operator+=(const Vecnt& o) { x += o.x; y += o.y; return *this; }
    Vecnt& operator-=(const Vecnt& o) { x -= o.x; y -= o.y; return *this; }
    constexpr bool operator==(const Vecnt&) const = default;
    constexpr T dot(const Vecnt& o) const { return x * o.x + y * o.y; }
    T length() const { return std::sqrt(x * x + y * y); }
};

template <typename T> struct Vecnt<3, T> {
    T x{}, y{}, z{};
    constexpr Vecnt() = default;
    constexpr Vecnt(T x_, T y_, T z_) : x(x_), y(y_), z(z_) {}
    constexpr Vecnt operator+(const Vecnt& o) const { return {x + o.x, y + o.y, z + o.z}; }
    constexpr Vecnt operator-(const Vecnt& o) const { return {x - o.x, y - o.y, z - o.z}; }
    constexpr Vecnt operator*(T s) const { return {x * s, y * s, z * s}; }
    constexpr Vecnt operator/(T s) const { return {x / s, y / s, z / s}; }
    Vecnt& operator+=(const Vecnt& o) { x += o.x; y += o.y; z += o.z; return *this; }
    Vecnt& operator-=(const Vecnt& o) { x -= o.x; y -= o.y; z -= o.z; return *this; }
    constexpr bool operator==(const Vecnt&) const = default;
    constexpr T dot(const Vecnt& o) const { return x * o.x + y * o.y + z * o.z; }
    constexpr Vecnt cross(const Vecnt& o) const {
        return {y * o.z - z * o.y, z * o.x - x * o.z, x * o.y - y * o.x};
    }
    T length() const { return std::sqrt(x * x + y * y + z * z); }
};

using Vec2 = Vecnt<2, float>;
using Vec3 = Vecnt<3, float>;

// Degrees <-> radians. The float is what the camera, the rotation tool and
// the widgets use; the double is what stroke geometry and stored stroke angles
// are computed with. Both stay: each gives the angles its users were made with.
inline constexpr float kDegreesPerRadian = 57.29578f;
inline constexpr double kDegreesPerRadianExact = 57.29577951308232;

} // namespace math
