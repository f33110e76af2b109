#include <tavocurves.h>

#include <gtest/gtest.h>

#include <cctype>
#include <cmath>
#include <functional>
#include <limits>
#include <set>
#include <string>

namespace {

constexpr double kTolerance = 1e-6;
const double kPi = std::acos(-1.0);

class TavoCurves : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(TAVOCURVES_Initialize()); }
    void TearDown() override { EXPECT_TRUE(TAVOCURVES_Finalize()); }

    static double valueOf(int32_t type, double x)
    {
        BLCURVE record;
        TAVOCURVES_Get(&record, type);
        return BLCURVES_Evaluate(&record, x);
    }
};

TEST_F(TavoCurves, CompanionCurvesCrossfadeAtConstantGain)
{
    EXPECT_EQ(TAVOCURVES_GetEqualGainCurveType(4), 5u);
    EXPECT_EQ(TAVOCURVES_GetEqualGainMovement(4), 0u);
    for (uint32_t type = 0; type <= TAVOCURVES_MAX_TYPE; ++type)
        EXPECT_EQ(TAVOCURVES_GetEqualGainCurveType(TAVOCURVES_GetEqualGainCurveType(type)), type);

    // The companion exists so that a fade-in and the matching fade-out add
    // up to unity everywhere; this ties the movement table to the easing
    // table. Shapes 12 and 13 are periodic and have no such pairing, and the
    // two-phase Curve types reuse one-phase forms. Qt's exponential is
    // lowered by 0.001 (so pairs sum within that), and its elastic
    // decelerating-then-accelerating form is not point-symmetric.
    for (uint32_t type = 1; type <= 45; ++type) {
        if (type == 8 * 4 + 3) continue;
        const double tolerance = TAVOCURVES_GetCurveShape(type) == 6 ? 1e-3 : kTolerance;
        const int32_t companion = int32_t(TAVOCURVES_GetEqualGainCurveType(type));
        for (double x : {0.0, 0.1, 0.3, 0.5, 0.77, 1.0})
            EXPECT_NEAR(valueOf(int32_t(type), x) + valueOf(companion, 1.0 - x), 1.0, tolerance)
                << "type " << type << " at " << x;
    }
}

TEST_F(TavoCurves, NamesAndTheirFallbacks)
{
    EXPECT_STREQ(TAVOCURVES_GetCurveShapeName(0), "Linear");
    EXPECT_STREQ(TAVOCURVES_GetCurveShapeName(14), "Linear");
    EXPECT_STREQ(TAVOCURVES_GetCurveShapeShortName(99), "Linear");
    EXPECT_STREQ(TAVOCURVES_GetCurveMovementName(2), "Accelerating then Decelarating");
    EXPECT_STREQ(TAVOCURVES_GetCurveMovementName(3), "Decelarating then Accelerating");
    EXPECT_STREQ(TAVOCURVES_GetCurveMovementName(4), "Accelerating");
    EXPECT_STREQ(TAVOCURVES_GetCurveMovementShortName(7), "Accel");

    for (uint32_t shape = 0; shape <= 13; ++shape) {
        EXPECT_EQ(TAVOCURVES_GetCurveShapeFromName(TAVOCURVES_GetCurveShapeName(shape)), shape);
        std::string upper = TAVOCURVES_GetCurveShapeName(shape);
        for (char &c : upper) c = char(std::toupper(static_cast<unsigned char>(c)));
        EXPECT_EQ(TAVOCURVES_GetCurveShapeFromName(upper.c_str()), shape) << upper;
    }
    for (uint32_t movement = 0; movement <= 3; ++movement)
        EXPECT_EQ(TAVOCURVES_GetCurveMovementFromName(TAVOCURVES_GetCurveMovementName(movement)), movement);

    // Full names only: short names and unknown text fall back to 0.
    EXPECT_EQ(TAVOCURVES_GetCurveShapeFromName("Quadr"), 0u);
    EXPECT_EQ(TAVOCURVES_GetCurveShapeFromName("Quadratics"), 0u);
    EXPECT_EQ(TAVOCURVES_GetCurveShapeFromName(""), 0u);
    EXPECT_EQ(TAVOCURVES_GetCurveShapeFromName(nullptr), 0u);
    EXPECT_EQ(TAVOCURVES_GetCurveMovementFromName("Decel"), 0u);
    EXPECT_EQ(TAVOCURVES_GetCurveMovementFromName(nullptr), 0u);
    EXPECT_EQ(TAVOCURVES_GetCurveMovementFromName(""), 0u);

    // Both spellings of the two-phase movements.
    EXPECT_EQ(TAVOCURVES_GetCurveMovementFromName("Decelerating then Accelerating"), 3u);
    EXPECT_EQ(TAVOCURVES_GetCurveMovementFromName("Decelarating then Accelerating"), 3u);
    EXPECT_EQ(TAVOCURVES_GetCurveMovementFromName("accelerating then decelerating"), 2u);
    EXPECT_EQ(TAVOCURVES_GetCurveMovementFromName("ACCELERATING THEN DECELARATING"), 2u);
}

TEST_F(TavoCurves, LibfoundResolvesNamesThroughTheCatalogue)
{
    BLCURVE record;
    ASSERT_EQ(BLCURVES_FromText(&record, "Quadratic-Decelerating"), &record);
    EXPECT_EQ(TAVOCURVES_GetType(&record), 4 * 1 + 1);
    EXPECT_NEAR(BLCURVES_Evaluate(&record, 0.5), 0.75, kTolerance);  // 1 - (1 - x)^2

    // "Sine" is the short name of shape 5 before it is that of shape 12.
    BLCURVES_GetByName(&record, "Sine", "Decelerating");
    EXPECT_EQ(record.type, 5 * 4 + 1);
    BLCURVES_GetByName(&record, "sinecurve", nullptr);
    EXPECT_EQ(record.type, 12 * 4);
    BLCURVES_GetByName(&record, "expo", "decelarating THEN accelerating");
    EXPECT_EQ(record.type, 6 * 4 + 3);

    // No shape, or an unknown one: the movement alone is the type.
    BLCURVES_GetByName(&record, nullptr, "Accelerating then Decelerating");
    EXPECT_EQ(record.type, 2);
    EXPECT_NE(record.value, nullptr);
    BLCURVES_GetByName(&record, "Wobbly", "Decelerating");
    EXPECT_EQ(record.type, 1);

    // Everything that makes no type is the plain ramp.
    BLCURVES_FromText(&record, "Cubic-Accel");
    EXPECT_EQ(record.type, 8) << "an unknown movement is accelerating";
    for (const char *text : {"Linear", "Linear-Accelerating", "Wobbly", ""}) {
        BLCURVES_FromText(&record, text);
        EXPECT_EQ(record.type, 0) << text;
        EXPECT_EQ(record.easing, nullptr) << text;
        EXPECT_EQ(record.value, nullptr) << text;
    }
}

TEST_F(TavoCurves, RecordsAndEquality)
{
    BLCURVE a, b;
    EXPECT_EQ(TAVOCURVES_Get(nullptr, 5), nullptr);

    TAVOCURVES_Get(&a, -3);
    EXPECT_EQ(a.type, -3);
    EXPECT_EQ(a.easing, nullptr);
    EXPECT_EQ(a.value, nullptr);
    TAVOCURVES_Get(&a, TAVOCURVES_MAX_TYPE + 1);
    EXPECT_EQ(a.type, 0);
    EXPECT_EQ(a.easing, nullptr);

    // One object per type, shared by every record of that type.
    std::set<const void *> objects;
    for (int32_t type = 1; type <= TAVOCURVES_MAX_TYPE; ++type) {
        TAVOCURVES_Get(&a, type);
        TAVOCURVES_Get(&b, type);
        ASSERT_NE(a.easing, nullptr);
        EXPECT_TRUE(TAVOCURVE_EqualCurves(&a, &b));
        objects.insert(a.easing);
    }
    EXPECT_EQ(objects.size(), size_t(TAVOCURVES_MAX_TYPE));

    TAVOCURVES_Get(&a, 9);
    TAVOCURVES_Get(&b, 10);
    EXPECT_FALSE(TAVOCURVE_EqualCurves(&a, &b));
    b = a;
    b.easing = nullptr;  // same type, other object
    EXPECT_FALSE(TAVOCURVE_EqualCurves(&a, &b));
    EXPECT_TRUE(TAVOCURVE_EqualCurves(nullptr, nullptr));
    EXPECT_FALSE(TAVOCURVE_EqualCurves(&a, nullptr));

    // A second initialisation keeps the objects that records point at.
    TAVOCURVES_Get(&a, 30);
    ASSERT_TRUE(TAVOCURVES_Initialize());
    TAVOCURVES_Get(&b, 30);
    EXPECT_EQ(a.easing, b.easing);
}

TEST_F(TavoCurves, ValuesFollowTheClosedForms)
{
    const double s = 1.70158;  // the usual back overshoot (10 %)
    const struct {
        int32_t type;
        std::function<double(double)> f;
    } forms[] = {
        {4, [](double x) { return x * x; }},
        {5, [](double x) { return 1 - (1 - x) * (1 - x); }},
        {6, [](double x) { return x < 0.5 ? 2 * x * x : 1 - 2 * (1 - x) * (1 - x); }},
        {8, [](double x) { return x * x * x; }},
        {9, [](double x) { return 1 - std::pow(1 - x, 3); }},
        {12, [](double x) { return std::pow(x, 4); }},
        {16, [](double x) { return std::pow(x, 5); }},
        {17, [](double x) { return 1 - std::pow(1 - x, 5); }},
        {20, [&](double x) { return 1 - std::cos(kPi * x / 2); }},
        {21, [&](double x) { return std::sin(kPi * x / 2); }},
        {22, [&](double x) { return (1 - std::cos(kPi * x)) / 2; }},
        // Qt lowers the exponential by 0.001 so that it meets 0 smoothly.
        {24, [](double x) { return std::pow(2.0, 10 * (x - 1)) - 0.001; }},
        {28, [](double x) { return 1 - std::sqrt(1 - x * x); }},
        {29, [](double x) { return std::sqrt(1 - (1 - x) * (1 - x)); }},
        {36, [&](double x) { return x * x * ((s + 1) * x - s); }},
    };
    for (const auto &form : forms)
        for (double x : {0.1, 0.25, 0.5, 0.8, 0.95})
            EXPECT_NEAR(valueOf(form.type, x), form.f(x), kTolerance) << "type " << form.type << " at " << x;
}

TEST_F(TavoCurves, FadesRunFromSilenceToFullGain)
{
    // Elastic and back overshoot in between; the ends are exact. SineCurve
    // and CosineCurve are whole periods and end where they began.
    for (int32_t type = 1; type <= 47; ++type) {
        EXPECT_NEAR(valueOf(type, 0.0), 0.0, 1e-9) << "type " << type;
        EXPECT_NEAR(valueOf(type, 1.0), 1.0, 1e-9) << "type " << type;
    }
    for (int32_t type = 48; type <= 51; ++type) {
        EXPECT_NEAR(valueOf(type, 0.0), 0.0, 1e-9);
        EXPECT_NEAR(valueOf(type, 0.5), 1.0, 1e-9);
        EXPECT_NEAR(valueOf(type, 1.0), 0.0, 1e-9);
    }
    EXPECT_NEAR(valueOf(52, 0.0), 0.5, 1e-9);
    EXPECT_NEAR(valueOf(52, 0.25), 1.0, 1e-9);
}

TEST_F(TavoCurves, ValueFunctionClampsWhenCalledDirectly)
{
    BLCURVE record;
    TAVOCURVES_Get(&record, 4);
    ASSERT_NE(record.value, nullptr);
    EXPECT_EQ(record.value(record.easing, 3.0), 1.0);
    EXPECT_EQ(record.value(record.easing, std::numeric_limits<double>::quiet_NaN()), 0.0);
    EXPECT_NEAR(record.value(nullptr, 0.3), 0.3, 1e-12);  // no object: the ramp itself
}

TEST_F(TavoCurves, FinalisationWithdrawsTheProvider)
{
    BLCURVE record;
    BLCURVES_FromText(&record, "Cubic-Accelerating");
    EXPECT_EQ(record.type, 8);

    ASSERT_TRUE(TAVOCURVES_Finalize());
    BLCURVES_FromText(&record, "Cubic-Accelerating");
    EXPECT_EQ(record.type, 0);
    EXPECT_EQ(record.value, nullptr);
    EXPECT_DOUBLE_EQ(BLCURVES_Evaluate(&record, 0.3), 0.3);

    // Without objects a record still evaluates, as the plain ramp.
    TAVOCURVES_Get(&record, 8);
    EXPECT_EQ(record.easing, nullptr);
    EXPECT_DOUBLE_EQ(BLCURVES_Evaluate(&record, 0.3), 0.3);
}

}  // namespace
