// SPDX-License-Identifier: Apache-2.0
#include "las/StandardClasses.hpp"

#include <array>
#include <cmath>
#include <gtest/gtest.h>

namespace corvane::test {
namespace {

using Vector = std::array<double, 3>;
using Matrix = std::array<Vector, 3>;

Vector operator*(const Matrix& m, const Vector& v) {
    Vector product{};
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t j = 0; j < 3; ++j) product[i] += m[i][j] * v[j];
    return product;
}

/// What the kinds of eyes see of linear red, green and blue: normal, without red, green or blue cones.
constexpr std::array<Matrix, 4> Eyes{
    {{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}},
     {{{0.152286, 1.052583, -0.204868}, {0.114503, 0.786281, 0.099216}, {-0.003882, -0.048116, 1.051998}}},
     {{{0.367322, 0.860646, -0.227968}, {0.280085, 0.672501, 0.047413}, {-0.011820, 0.042940, 0.968881}}},
     {{{1.255528, -0.076749, -0.178779}, {-0.078411, 0.930809, 0.147602}, {0.004733, 0.691367, 0.303900}}}}};

constexpr Matrix ToCones{{{0.4122214708, 0.5363325363, 0.0514459929},
                          {0.2119034982, 0.6806995451, 0.1073969566},
                          {0.0883024619, 0.2817188376, 0.6299787005}}};
constexpr Matrix ToLab{{{0.2104542553, 0.7936177850, -0.0040720468},
                        {1.9779984951, -2.4285922050, 0.4505937099},
                        {0.0259040371, 0.7827717662, -0.8086757660}}};

/// OKLab of what an eye sees.
Vector seen(const std::array<float, 3>& colour, const Matrix& eye) {
    Vector linear{colour[0], colour[1], colour[2]};
    for (double& c : linear) c = c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
    linear = eye * linear;
    for (double& c : linear) c = std::min(std::max(c, 0.0), 1.0);
    Vector cones = ToCones * linear;
    for (double& c : cones) c = std::cbrt(c);
    return ToLab * cones;
}

double distance(const Vector& a, const Vector& b) { return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]); }

TEST(StandardClasses, coloursAreToldApartByAllEyes) {
    for (std::size_t eye = 0; eye < Eyes.size(); ++eye)
        for (int a = 0; a <= 22; ++a)
            for (int b = 0; b < a; ++b)
                EXPECT_GE(distance(seen(classColour(a), Eyes[eye]), seen(classColour(b), Eyes[eye])), 0.0595)
                    << "classes " << a << " and " << b << ", eye " << eye;
    for (int value = 23; value < 256; ++value) { // less is asked of these: neighbours differ, and channels are valid
        const auto colour = classColour(value);
        EXPECT_GT(distance(seen(colour, Eyes[0]), seen(classColour(value + 1), Eyes[0])), 0.1) << value;
        for (const float channel : colour) EXPECT_TRUE(channel >= 0 && channel <= 1) << value;
    }
}

TEST(StandardClasses, namesDependOnThePointFormat) {
    for (const std::uint8_t format : std::initializer_list<std::uint8_t>{0, 5, 6, 10}) {
        std::string names;
        for (const int value : {8, 9, 12, 17, 23, 64}) names += standardClassName(value, format) + ", ";
        EXPECT_EQ(names, format < 6
                             ? "Model Key-Point (Mass Point), Water, Overlap Points, Reserved, Reserved, Reserved, "
                             : "Reserved, Water, Reserved, Bridge Deck, Reserved, User Definable, ");
    }
}

} // namespace
} // namespace corvane::test
