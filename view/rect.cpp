// rect.cpp: rectangle, point and hit-test helpers (TAVOUTIL_).
//
// A rectangle keeps its redundant corners in step: right = left + width - 1
// and bottom = top + height - 1. Every helper that changes one field fixes
// the others, so a rectangle is never left half-updated.

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "tavoutil.h"

namespace {

// The centre reported for a missing rectangle: 2^27, far outside any
// canvas, so a hit test against it never succeeds.
constexpr int32_t kNoCenter = 134217728;

// The integer rectangle and its floating-point twin share one rule, so
// each helper below is written once for both.
template <class Rect>
void fixCorners(Rect *r)
{
    r->right = r->left + r->width - 1;
    r->bottom = r->top + r->height - 1;
}

template <class Rect, class T>
Rect *defineRect(Rect *rect, T left, T top, T width, T height)
{
    if (rect == nullptr) return nullptr;
    rect->left = left;
    rect->top = top;
    rect->width = width;
    rect->height = height;
    fixCorners(rect);
    return rect;
}

template <class Rect>
bool evalDimensions(Rect *rect, int32_t mode)
{
    if (rect == nullptr) return false;
    switch (mode) {
    case 2:
        rect->width = rect->right - rect->left + 1;
        rect->height = rect->bottom - rect->top + 1;
        return rect->width >= 1 && rect->height >= 1;
    case 4:
        fixCorners(rect);
        return true;
    case 1:
        rect->left = rect->right - rect->width + 1;
        rect->top = rect->bottom - rect->height + 1;
        return true;
    default:
        return false;
    }
}

template <class Rect, class T>
Rect *adjustedRect(Rect *result, const Rect *rect, T dl, T dt, T dr, T db)
{
    if (result == nullptr || rect == nullptr) return nullptr;
    const Rect r = *rect;
    result->left = r.left + dl;
    result->top = r.top + dt;
    result->right = r.right + dr;
    result->bottom = r.bottom + db;
    result->width = result->right - result->left + 1;
    result->height = result->bottom - result->top + 1;
    return result;
}

void makeEmpty(TAVORECT *r)
{
    r->left = r->top = r->width = r->height = 0;
    r->right = r->bottom = -1;
}

}  // namespace

TAVO_API TAVORECT *TAVOUTIL_DefineRect(TAVORECT *rect, int32_t left, int32_t top, int32_t width, int32_t height)
{
    return defineRect(rect, left, top, width, height);
}

TAVO_API bool TAVOUTIL_EvalDimensions(TAVORECT *rect, int32_t mode)
{
    return evalDimensions(rect, mode);
}

TAVO_API bool TAVOUTIL_IsRectValid(const TAVORECT *rect)
{
    return rect != nullptr && rect->width >= 1 && rect->height >= 1;
}

TAVO_API bool TAVOUTIL_IsInsideRect(const TAVORECT *rect, int32_t x, int32_t y)
{
    if (rect == nullptr) return false;
    return rect->left <= x && x < rect->left + rect->width && rect->top <= y && y < rect->top + rect->height;
}

// The far sides grow by twice the margin: handles drawn on the right and
// bottom edges stick out further than on the near edges, and hit testing
// of those handles depends on it.
TAVO_API bool TAVOUTIL_IsInsideRectEx(const TAVORECT *rect, int32_t x, int32_t y, int32_t mx, int32_t my)
{
    if (rect == nullptr) return false;
    return rect->left - mx <= x && x < rect->left + rect->width + 2 * mx && rect->top - my <= y &&
           y < rect->top + rect->height + 2 * my;
}

TAVO_API bool TAVOUTIL_IsInsideRectTop(const TAVORECT *rect, int32_t x, int32_t y, int32_t size)
{
    return size >= 1 && TAVOUTIL_IsInsideRect(rect, x, y) && y < rect->top + size;
}

TAVO_API bool TAVOUTIL_IsInsideRectTopLeft(const TAVORECT *rect, int32_t x, int32_t y, int32_t size)
{
    return TAVOUTIL_IsInsideRectTop(rect, x, y, size) && x < rect->left + size;
}

TAVO_API bool TAVOUTIL_IsInsideRectTopRight(const TAVORECT *rect, int32_t x, int32_t y, int32_t size)
{
    return TAVOUTIL_IsInsideRectTop(rect, x, y, size) && x > rect->right - size;
}

TAVO_API bool TAVOUTIL_IsInsideRectBottom(const TAVORECT *rect, int32_t x, int32_t y, int32_t size)
{
    return size >= 1 && TAVOUTIL_IsInsideRect(rect, x, y) && y > rect->bottom - size;
}

TAVO_API bool TAVOUTIL_IsInsideEllipse(const TAVORECT *rect, int32_t x, int32_t y)
{
    if (!TAVOUTIL_IsRectValid(rect)) return false;
    // Pixel centres: the ellipse spans the pixels left .. right.
    const double rx = rect->width / 2.0;
    const double ry = rect->height / 2.0;
    const double cx = rect->left + (rect->width - 1) / 2.0;
    const double cy = rect->top + (rect->height - 1) / 2.0;
    const double dx = (x - cx) / rx;
    const double dy = (y - cy) / ry;
    return dx * dx + dy * dy <= 1.0;
}

TAVO_API int32_t TAVOUTIL_IsOverRectBorderEx(const TAVORECT *rect, int32_t x, int32_t y, int32_t mx, int32_t my)
{
    if (rect == nullptr) return 0;
    const bool withinRows = rect->top - my <= y && y <= rect->bottom + my;
    const bool withinColumns = rect->left - mx <= x && x <= rect->right + mx;
    int32_t borders = 0;
    if (withinRows && std::abs(x - rect->left) <= mx) borders |= 1;
    if (withinRows && std::abs(x - rect->right) <= mx) borders |= 2;
    if (withinColumns && std::abs(y - rect->top) <= my) borders |= 4;
    if (withinColumns && std::abs(y - rect->bottom) <= my) borders |= 8;
    return borders;
}

TAVO_API bool TAVOUTIL_IsOverCurve(const TAVOPOINT *points, int32_t count, int32_t x, int32_t y, int32_t tolerance)
{
    if (points == nullptr || count < 1 || tolerance < 0) return false;
    const double limit = static_cast<double>(tolerance) * tolerance;
    const double px = x;
    const double py = y;
    if (count == 1) {
        const double dx = px - points[0].x;
        const double dy = py - points[0].y;
        return dx * dx + dy * dy <= limit;
    }
    for (int32_t i = 1; i < count; ++i) {
        const double ax = points[i - 1].x;
        const double ay = points[i - 1].y;
        const double sx = points[i].x - ax;
        const double sy = points[i].y - ay;
        const double len2 = sx * sx + sy * sy;
        double t = len2 > 0.0 ? ((px - ax) * sx + (py - ay) * sy) / len2 : 0.0;
        t = t < 0.0 ? 0.0 : (t > 1.0 ? 1.0 : t);
        const double dx = px - (ax + t * sx);
        const double dy = py - (ay + t * sy);
        if (dx * dx + dy * dy <= limit) return true;
    }
    return false;
}

TAVO_API bool TAVOUTIL_CompareRect(const TAVORECT *a, const TAVORECT *b)
{
    if (a == nullptr || b == nullptr) return false;
    return a->left == b->left && a->top == b->top && a->width == b->width && a->height == b->height;
}

TAVO_API TAVORECT *TAVOUTIL_AdjustedRect(TAVORECT *result, const TAVORECT *rect, int32_t dl, int32_t dt, int32_t dr,
                                         int32_t db)
{
    return adjustedRect(result, rect, dl, dt, dr, db);
}

TAVO_API TAVORECT *TAVOUTIL_AdjustRect(TAVORECT *rect, int32_t dl, int32_t dt, int32_t dr, int32_t db)
{
    return TAVOUTIL_AdjustedRect(rect, rect, dl, dt, dr, db);
}

TAVO_API TAVORECT *TAVOUTIL_ChangeRectWidth(TAVORECT *rect, int32_t width)
{
    if (rect == nullptr) return nullptr;
    rect->width = width;
    fixCorners(rect);
    return rect;
}

TAVO_API TAVORECT *TAVOUTIL_ChangeRectHeight(TAVORECT *rect, int32_t height)
{
    if (rect == nullptr) return nullptr;
    rect->height = height;
    fixCorners(rect);
    return rect;
}

TAVO_API TAVORECT *TAVOUTIL_ChangeRectLeft(TAVORECT *rect, int32_t left)
{
    if (rect == nullptr) return nullptr;
    rect->left = left;
    rect->width = rect->right - left + 1;
    return rect;
}

TAVO_API TAVORECT *TAVOUTIL_ChangeRectRight(TAVORECT *rect, int32_t right)
{
    if (rect == nullptr) return nullptr;
    rect->right = right;
    rect->width = right - rect->left + 1;
    return rect;
}

TAVO_API TAVORECT *TAVOUTIL_ChangeRectTop(TAVORECT *rect, int32_t top)
{
    if (rect == nullptr) return nullptr;
    rect->top = top;
    rect->height = rect->bottom - top + 1;
    return rect;
}

TAVO_API TAVORECT *TAVOUTIL_ChangeRectBottom(TAVORECT *rect, int32_t bottom)
{
    if (rect == nullptr) return nullptr;
    rect->bottom = bottom;
    rect->height = bottom - rect->top + 1;
    return rect;
}

TAVO_API TAVORECT *TAVOUTIL_MoveRectLeft(TAVORECT *rect, int32_t left)
{
    if (rect == nullptr) return nullptr;
    rect->left = left;
    fixCorners(rect);
    return rect;
}

TAVO_API TAVORECT *TAVOUTIL_MoveRectRight(TAVORECT *rect, int32_t right)
{
    if (rect == nullptr) return nullptr;
    rect->left = right - rect->width + 1;
    fixCorners(rect);
    return rect;
}

TAVO_API TAVORECT *TAVOUTIL_MoveRectTop(TAVORECT *rect, int32_t top)
{
    if (rect == nullptr) return nullptr;
    rect->top = top;
    fixCorners(rect);
    return rect;
}

TAVO_API TAVORECT *TAVOUTIL_MoveRectBottom(TAVORECT *rect, int32_t bottom)
{
    if (rect == nullptr) return nullptr;
    rect->top = bottom - rect->height + 1;
    fixCorners(rect);
    return rect;
}

TAVO_API TAVORECT *TAVOUTIL_InterectionRect(TAVORECT *result, const TAVORECT *a, const TAVORECT *b)
{
    if (result == nullptr) return nullptr;
    if (a == nullptr || b == nullptr) {
        makeEmpty(result);
        return result;
    }
    const int32_t left = a->left > b->left ? a->left : b->left;
    const int32_t top = a->top > b->top ? a->top : b->top;
    const int32_t right = a->right < b->right ? a->right : b->right;
    const int32_t bottom = a->bottom < b->bottom ? a->bottom : b->bottom;
    if (right < left || bottom < top) {
        makeEmpty(result);
        return result;
    }
    TAVOUTIL_DefineRect(result, left, top, right - left + 1, bottom - top + 1);
    return result;
}

TAVO_API int32_t TAVOUTIL_IntersectionWidth(const TAVORECT *a, const TAVORECT *b)
{
    if (a == nullptr || b == nullptr) return 0;
    const int32_t left = a->left > b->left ? a->left : b->left;
    const int32_t right = a->right < b->right ? a->right : b->right;
    return right < left ? 0 : right - left + 1;
}

TAVO_API TAVORECT *TAVOUTIL_ComposeRect(TAVORECT *result, const TAVORECT *a, const TAVORECT *b)
{
    if (result == nullptr) return nullptr;
    const bool useA = TAVOUTIL_IsRectValid(a);
    const bool useB = TAVOUTIL_IsRectValid(b);
    if (!useA && !useB) {
        makeEmpty(result);
        return result;
    }
    if (!useA || !useB) {
        *result = useA ? *a : *b;
        fixCorners(result);
        return result;
    }
    const int32_t left = a->left < b->left ? a->left : b->left;
    const int32_t top = a->top < b->top ? a->top : b->top;
    const int32_t right = a->right > b->right ? a->right : b->right;
    const int32_t bottom = a->bottom > b->bottom ? a->bottom : b->bottom;
    TAVOUTIL_DefineRect(result, left, top, right - left + 1, bottom - top + 1);
    return result;
}

TAVO_API TAVOPOINT TAVOUTIL_RectCenter(const TAVORECT *rect)
{
    TAVOPOINT p;
    if (rect == nullptr) {
        p.x = p.y = kNoCenter;
        return p;
    }
    p.x = rect->left + rect->width / 2;
    p.y = rect->top + rect->height / 2;
    return p;
}

TAVO_API void TAVOUTIL_PrintRect(const TAVORECT *rect)
{
    if (rect == nullptr) return;
    std::printf("{ l:%d, t:%d, r:%d, b:%d, w:%d, h:%d}\n", rect->left, rect->top, rect->right, rect->bottom,
                rect->width, rect->height);
}

TAVO_API TAVOPOINT *TAVOUTIL_DefinePoint(TAVOPOINT *point, int32_t x, int32_t y)
{
    if (point == nullptr) return nullptr;
    point->x = x;
    point->y = y;
    return point;
}

TAVO_API bool TAVOUTIL_IsPointValid(const TAVOPOINT *point)
{
    return point != nullptr && point->x >= 0 && point->y >= 0;
}

TAVO_API TAVORECTF *TAVOUTIL_DefineRectF(TAVORECTF *rect, double left, double top, double width, double height)
{
    return defineRect(rect, left, top, width, height);
}

TAVO_API bool TAVOUTIL_EvalDimensionsF(TAVORECTF *rect, int32_t mode)
{
    return evalDimensions(rect, mode);
}

TAVO_API TAVORECTF *TAVOUTIL_AdjustedRectF(TAVORECTF *result, const TAVORECTF *rect, double dl, double dt, double dr,
                                           double db)
{
    return adjustedRect(result, rect, dl, dt, dr, db);
}

TAVO_API TAVORECTF *TAVOUTIL_AdjustRectF(TAVORECTF *rect, double dl, double dt, double dr, double db)
{
    return TAVOUTIL_AdjustedRectF(rect, rect, dl, dt, dr, db);
}

TAVO_API TAVORECTF *TAVOUTIL_ConvertRectToFloat(TAVORECTF *result, const TAVORECT *rect)
{
    if (result == nullptr || rect == nullptr) return nullptr;
    result->left = rect->left;
    result->top = rect->top;
    result->width = rect->width;
    result->height = rect->height;
    result->right = rect->right;
    result->bottom = rect->bottom;
    return result;
}
