#include "lxbase/points.h"

#include <cmath>

#include "zorder.h"

namespace lxbase {

// Every expression below is evaluated in T (float or double) as written: the
// library is built without floating-point contraction and the float overloads
// of the <cmath> functions are the single-precision ones (sqrtf, atan2f...).

template <typename T>
bool tBaseXYZPoint<T>::operator<(const tBaseXYZPoint& p) const {
    // A float widens to double exactly, with the same frexp split.
    return zorder::Less(x, y, z, p.x, p.y, p.z);
}

template <typename T>
T tBaseXYZPoint<T>::Distance(const tBaseXYZPoint& p) const {
    const T dx = x - p.x;
    const T dy = y - p.y;
    const T dz = z - p.z;
    return std::sqrt((dx * dx + dy * dy) + dz * dz);
}

template <typename T>
T tBaseXYZPoint<T>::Range() const {
    return std::sqrt((x * x + y * y) + z * z);
}

template <typename T>
T tBaseXYZPoint<T>::HorizontalAngle() const {
    return std::atan2(y, x);
}

template <typename T>
T tBaseXYZPoint<T>::VerticalAngle() const {
    return std::atan2(std::sqrt(x * x + y * y), z);
}

template <typename T>
template <typename U>
tBaseXYZPoint<T>& tBaseXYZPoint<T>::operator=(const tBasePolarPoint<U>& p) {
    using Wide = decltype(T() * U());
    // The sines and cosines are taken in the source's precision and rounded
    // to the target's before any product; the products run in the wider type
    // and are rounded to the target once at the end.
    const T sinV = static_cast<T>(std::sin(p.verticalAngle));
    const T cosH = static_cast<T>(std::cos(p.horizontalAngle));
    const T sinH = static_cast<T>(std::sin(p.horizontalAngle));
    const T cosV = static_cast<T>(std::cos(p.verticalAngle));
    const Wide range = static_cast<Wide>(p.range);
    const Wide sinVRange = static_cast<Wide>(sinV) * range;
    x = static_cast<T>(static_cast<Wide>(cosH) * sinVRange);
    y = static_cast<T>(static_cast<Wide>(sinH) * sinVRange);
    z = static_cast<T>(static_cast<Wide>(cosV) * range);
    return *this;
}

template <typename T>
template <typename U>
tBasePolarPoint<T>& tBasePolarPoint<T>::operator=(const tBaseXYZPoint<U>& p) {
    // Computed in the source's precision, rounded to T when stored.
    range = static_cast<T>(p.Range());
    verticalAngle = static_cast<T>(p.VerticalAngle());
    horizontalAngle = static_cast<T>(p.HorizontalAngle());
    return *this;
}

template struct tBaseXYZPoint<float>;
template struct tBaseXYZPoint<double>;
template struct tBasePolarPoint<float>;
template struct tBasePolarPoint<double>;

template tBaseXYZPoint<float>& tBaseXYZPoint<float>::operator=(const tBasePolarPoint<float>&);
template tBaseXYZPoint<float>& tBaseXYZPoint<float>::operator=(const tBasePolarPoint<double>&);
template tBaseXYZPoint<double>& tBaseXYZPoint<double>::operator=(const tBasePolarPoint<float>&);
template tBaseXYZPoint<double>& tBaseXYZPoint<double>::operator=(const tBasePolarPoint<double>&);
template tBasePolarPoint<float>& tBasePolarPoint<float>::operator=(const tBaseXYZPoint<float>&);
template tBasePolarPoint<float>& tBasePolarPoint<float>::operator=(const tBaseXYZPoint<double>&);
template tBasePolarPoint<double>& tBasePolarPoint<double>::operator=(const tBaseXYZPoint<float>&);
template tBasePolarPoint<double>& tBasePolarPoint<double>::operator=(const tBaseXYZPoint<double>&);

}  // namespace lxbase
