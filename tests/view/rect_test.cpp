// rect_test.cpp: rectangle and hit-test helpers, checked against pixel
// membership and the corner invariant.
#include <gtest/gtest.h>

#include <random>

#include "tavoutil.h"

namespace {

bool consistent(const TAVORECT &r)
{
    return r.right == r.left + r.width - 1 && r.bottom == r.top + r.height - 1;
}

TAVORECT rect(int32_t l, int32_t t, int32_t w, int32_t h)
{
    TAVORECT r;
    TAVOUTIL_DefineRect(&r, l, t, w, h);
    return r;
}

}  // namespace

TEST(TavoUtilRect, EditsKeepTheCornersInStep)
{
    TAVORECT r = rect(10, 20, 30, 40);
    EXPECT_EQ(r.right, 39);
    EXPECT_EQ(r.bottom, 59);
    TAVOUTIL_ChangeRectWidth(&r, 5);
    EXPECT_TRUE(consistent(r));
    EXPECT_EQ(r.left, 10);
    TAVOUTIL_ChangeRectLeft(&r, 12);   // right stays
    EXPECT_TRUE(consistent(r));
    EXPECT_EQ(r.right, 14);
    TAVOUTIL_ChangeRectBottom(&r, 100);
    EXPECT_TRUE(consistent(r));
    EXPECT_EQ(r.top, 20);
    TAVOUTIL_MoveRectRight(&r, 50);   // size kept
    EXPECT_TRUE(consistent(r));
    EXPECT_EQ(r.width, 3);
    EXPECT_EQ(r.right, 50);
    TAVOUTIL_MoveRectBottom(&r, 0);
    EXPECT_TRUE(consistent(r));
    EXPECT_EQ(r.bottom, 0);

    TAVORECT adjusted;
    TAVOUTIL_AdjustedRect(&adjusted, &r, -1, -2, 3, 4);
    EXPECT_TRUE(consistent(adjusted));
    EXPECT_EQ(adjusted.width, r.width + 4);
    EXPECT_EQ(adjusted.height, r.height + 6);

    // Modes 4, 2 and 1 agree with each other.
    TAVORECT e = rect(3, 4, 5, 6);
    e.width = e.height = 0;
    EXPECT_TRUE(TAVOUTIL_EvalDimensions(&e, 2));
    EXPECT_TRUE(TAVOUTIL_CompareRect(&e, &adjusted) == false);
    EXPECT_EQ(e.width, 5);
    EXPECT_EQ(e.height, 6);
    e.left = e.top = 0;
    EXPECT_TRUE(TAVOUTIL_EvalDimensions(&e, 1));
    EXPECT_EQ(e.left, 3);
    EXPECT_EQ(e.top, 4);
    EXPECT_FALSE(TAVOUTIL_EvalDimensions(&e, 3));
    EXPECT_FALSE(TAVOUTIL_EvalDimensions(nullptr, 4));
}

TEST(TavoUtilRect, InsideRectExWidensTheFarSidesTwice)
{
    const TAVORECT r = rect(10, 10, 10, 10);
    EXPECT_TRUE(TAVOUTIL_IsInsideRectEx(&r, 8, 10, 2, 2));
    EXPECT_FALSE(TAVOUTIL_IsInsideRectEx(&r, 7, 10, 2, 2));
    EXPECT_TRUE(TAVOUTIL_IsInsideRectEx(&r, 23, 23, 2, 2));   // 10 + 10 + 4 - 1
    EXPECT_FALSE(TAVOUTIL_IsInsideRectEx(&r, 24, 10, 2, 2));
    EXPECT_FALSE(TAVOUTIL_IsInsideRectEx(&r, 10, 24, 2, 2));
    EXPECT_TRUE(TAVOUTIL_IsInsideRect(&r, 19, 19));
    EXPECT_FALSE(TAVOUTIL_IsInsideRect(&r, 20, 19));
    EXPECT_FALSE(TAVOUTIL_IsInsideRect(nullptr, 0, 0));
}

// The intersection holds exactly the pixels both rectangles hold; the
// composition holds every pixel of either.
TEST(TavoUtilRect, IntersectionAndCompositionMatchPixelMembership)
{
    std::mt19937 random(3);
    std::uniform_int_distribution<int32_t> pos(-5, 15);
    std::uniform_int_distribution<int32_t> size(1, 10);
    for (int i = 0; i < 300; ++i) {
        const TAVORECT a = rect(pos(random), pos(random), size(random), size(random));
        const TAVORECT b = rect(pos(random), pos(random), size(random), size(random));
        TAVORECT both, any;
        TAVOUTIL_InterectionRect(&both, &a, &b);
        TAVOUTIL_ComposeRect(&any, &a, &b);
        ASSERT_TRUE(consistent(both));
        int32_t overlapColumns = 0;
        for (int32_t x = -6; x < 27; ++x) {
            bool columnShared = false;
            for (int32_t y = -6; y < 27; ++y) {
                const bool inA = TAVOUTIL_IsInsideRect(&a, x, y);
                const bool inB = TAVOUTIL_IsInsideRect(&b, x, y);
                ASSERT_EQ(TAVOUTIL_IsInsideRect(&both, x, y), inA && inB);
                if (inA || inB) ASSERT_TRUE(TAVOUTIL_IsInsideRect(&any, x, y));
            }
            columnShared = x >= a.left && x <= a.right && x >= b.left && x <= b.right;
            overlapColumns += columnShared ? 1 : 0;
        }
        ASSERT_EQ(TAVOUTIL_IntersectionWidth(&a, &b), overlapColumns);
    }
    TAVORECT empty = rect(1, 1, 1, 1);
    const TAVORECT a = rect(0, 0, 5, 5);
    TAVOUTIL_InterectionRect(&empty, &a, nullptr);
    EXPECT_EQ(empty.width, 0);
    EXPECT_EQ(empty.right, -1);
    EXPECT_EQ(empty.bottom, -1);
    EXPECT_FALSE(TAVOUTIL_IsRectValid(&empty));
}

TEST(TavoUtilRect, CenterDividesTowardsZeroAndNullIsFarAway)
{
    const TAVORECT r = rect(0, 0, 5, 5);
    EXPECT_EQ(TAVOUTIL_RectCenter(&r).x, 2);
    const TAVORECT n = rect(-3, 0, -3, 4);
    EXPECT_EQ(TAVOUTIL_RectCenter(&n).x, -4);   // -3 + (-3 / 2 = -1)
    EXPECT_EQ(TAVOUTIL_RectCenter(nullptr).x, 134217728);
    EXPECT_EQ(TAVOUTIL_RectCenter(nullptr).y, 134217728);
}

TEST(TavoUtilRect, HitTestsOfBordersEllipsesAndCurves)
{
    const TAVORECT r = rect(10, 10, 21, 11);   // right 30, bottom 20
    EXPECT_EQ(TAVOUTIL_IsOverRectBorderEx(&r, 9, 15, 2, 2), 1);
    EXPECT_EQ(TAVOUTIL_IsOverRectBorderEx(&r, 31, 21, 2, 2), 2 | 8);
    EXPECT_EQ(TAVOUTIL_IsOverRectBorderEx(&r, 20, 15, 2, 2), 0);
    EXPECT_TRUE(TAVOUTIL_IsInsideEllipse(&r, 20, 15));
    EXPECT_FALSE(TAVOUTIL_IsInsideEllipse(&r, 10, 10));   // a corner
    EXPECT_TRUE(TAVOUTIL_IsInsideEllipse(&r, 10, 15));    // end of the long axis
    EXPECT_TRUE(TAVOUTIL_IsInsideRectTopLeft(&r, 11, 11, 3));
    EXPECT_FALSE(TAVOUTIL_IsInsideRectTopLeft(&r, 13, 11, 3));
    EXPECT_TRUE(TAVOUTIL_IsInsideRectTopRight(&r, 28, 12, 3));
    EXPECT_TRUE(TAVOUTIL_IsInsideRectBottom(&r, 15, 18, 3));
    EXPECT_FALSE(TAVOUTIL_IsInsideRectBottom(&r, 15, 17, 3));

    const TAVOPOINT curve[] = {{0, 0}, {10, 0}, {10, 10}};
    EXPECT_TRUE(TAVOUTIL_IsOverCurve(curve, 3, 5, 2, 2));
    EXPECT_FALSE(TAVOUTIL_IsOverCurve(curve, 3, 5, 3, 2));
    EXPECT_TRUE(TAVOUTIL_IsOverCurve(curve, 3, 12, 5, 2));
    EXPECT_FALSE(TAVOUTIL_IsOverCurve(curve, 3, 13, 13, 2));   // beyond the end: distance 4.2
    EXPECT_FALSE(TAVOUTIL_IsOverCurve(nullptr, 3, 0, 0, 2));
}

TEST(TavoUtilRect, FloatTwinFollowsTheSameRule)
{
    TAVORECTF f;
    const TAVORECT r = rect(1, 2, 3, 4);
    TAVOUTIL_ConvertRectToFloat(&f, &r);
    EXPECT_EQ(f.right, 3.0);
    EXPECT_EQ(f.bottom, 5.0);
    TAVOUTIL_AdjustRectF(&f, 0.5, 0.0, 1.0, 0.0);
    EXPECT_DOUBLE_EQ(f.width, 3.5);
    EXPECT_DOUBLE_EQ(f.right, f.left + f.width - 1.0);
    TAVOUTIL_DefineRectF(&f, 0.0, 0.0, 2.5, 1.0);
    EXPECT_DOUBLE_EQ(f.right, 1.5);
    EXPECT_TRUE(TAVOUTIL_EvalDimensionsF(&f, 2));
}
