#include "dng/base/matrix.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

double VorelDngVector::maxEntry() const { return count_ ? *std::max_element(data_, data_ + count_) : 0; }
double VorelDngVector::minEntry() const { return count_ ? *std::min_element(data_, data_ + count_) : 0; }

void VorelDngVector::scale(double factor) {
    for (uint32_t i = 0; i < count_; ++i) data_[i] *= factor;
}

void VorelDngVector::setIdentity(uint32_t count) {
    *this = VorelDngVector(count);
    std::fill(data_, data_ + count_, 1.0);
}

VorelDngVector3::VorelDngVector3(const VorelDngVector &other) : VorelDngVector(3) {
    for (uint32_t i = 0; i < std::min(3u, other.count()); ++i) (*this)[i] = other[i];
}

void VorelDngMatrix::setIdentity(uint32_t count) {
    *this = VorelDngMatrix(count, count);
    for (uint32_t i = 0; i < rows_; ++i) data_[i][i] = 1;
}

void VorelDngMatrix::scale(double factor) {
    for (uint32_t row = 0; row < rows_; ++row) {
        for (uint32_t column = 0; column < columns_; ++column) data_[row][column] *= factor;
    }
}

double VorelDngMatrix::maxEntry() const {
    if (empty()) return 0;
    double most = data_[0][0];
    for (uint32_t row = 0; row < rows_; ++row)
        most = std::max(most, *std::max_element(data_[row], data_[row] + columns_));
    return most;
}

double VorelDngMatrix::minEntry() const {
    if (empty()) return 0;
    double least = data_[0][0];
    for (uint32_t row = 0; row < rows_; ++row) {
        least = std::min(least, *std::min_element(data_[row], data_[row] + columns_));
    }
    return least;
}

bool VorelDngMatrix::isAlmostIdentity() const {
    if (empty() || rows_ != columns_) return false;
    for (uint32_t row = 0; row < rows_; ++row) {
        for (uint32_t column = 0; column < columns_; ++column) {
            // Not >, so that no entry may be not a number.
            if (!(std::fabs(data_[row][column] - (row == column ? 1 : 0)) <= 1e-8)) return false;
        }
    }
    return true;
}

VorelDngMatrix3x3::VorelDngMatrix3x3(double a00, double a01, double a02, double a10, double a11, double a12, double a20,
                                     double a21, double a22)
    : VorelDngMatrix(3, 3) {
    const double rows[3][3] = {{a00, a01, a02}, {a10, a11, a12}, {a20, a21, a22}};
    for (uint32_t row = 0; row < 3; ++row) std::copy(rows[row], rows[row] + 3, (*this)[row]);
}

VorelDngMatrix3x3::VorelDngMatrix3x3(const VorelDngMatrix &other) : VorelDngMatrix(3, 3) {
    for (uint32_t row = 0; row < std::min(3u, other.rows()); ++row) {
        std::copy(other[row], other[row] + std::min(3u, other.columns()), (*this)[row]);
    }
}

namespace {

void require_shape(bool fits) {
    if (!fits) throw std::invalid_argument("shapes of matrices");
}

// By Gauss and Jordan with the largest pivot of the column.
VorelDngMatrix inverse_of_square(VorelDngMatrix a) {
    const uint32_t n = a.rows();
    VorelDngMatrix inverse;
    inverse.setIdentity(n);
    for (uint32_t column = 0; column < n; ++column) {
        uint32_t pivot = column;
        for (uint32_t row = column + 1; row < n; ++row) {
            if (std::fabs(a[row][column]) > std::fabs(a[pivot][column])) pivot = row;
        }
        if (!(std::fabs(a[pivot][column]) > 1e-30)) throw std::domain_error("singular matrix");
        std::swap_ranges(a[pivot], a[pivot] + n, a[column]);
        std::swap_ranges(inverse[pivot], inverse[pivot] + n, inverse[column]);
        const double scale = 1 / a[column][column];
        for (uint32_t i = 0; i < n; ++i) a[column][i] *= scale, inverse[column][i] *= scale;
        for (uint32_t row = 0; row < n; ++row) {
            const double factor = a[row][column];
            if (row == column || factor == 0) continue;
            for (uint32_t i = 0; i < n; ++i) {
                a[row][i] -= factor * a[column][i];
                inverse[row][i] -= factor * inverse[column][i];
            }
        }
    }
    return inverse;
}

}  // namespace

VorelDngMatrix operator*(const VorelDngMatrix &a, const VorelDngMatrix &b) {
    require_shape(a.columns() == b.rows());
    VorelDngMatrix product(a.rows(), b.columns());
    for (uint32_t row = 0; row < a.rows(); ++row) {
        for (uint32_t column = 0; column < b.columns(); ++column) {
            double sum = 0;
            for (uint32_t i = 0; i < a.columns(); ++i) sum += a[row][i] * b[i][column];
            product[row][column] = sum;
        }
    }
    return product;
}

VorelDngVector operator*(const VorelDngMatrix &a, const VorelDngVector &b) {
    require_shape(a.columns() == b.count());
    VorelDngVector product(a.rows());
    for (uint32_t row = 0; row < a.rows(); ++row) {
        double sum = 0;
        for (uint32_t i = 0; i < a.columns(); ++i) sum += a[row][i] * b[i];
        product[row] = sum;
    }
    return product;
}

VorelDngMatrix operator*(double scale, const VorelDngMatrix &a) {
    VorelDngMatrix scaled = a;
    scaled.scale(scale);
    return scaled;
}

VorelDngVector operator*(double scale, const VorelDngVector &a) {
    VorelDngVector scaled = a;
    scaled.scale(scale);
    return scaled;
}

VorelDngMatrix operator+(const VorelDngMatrix &a, const VorelDngMatrix &b) {
    require_shape(a.rows() == b.rows() && a.columns() == b.columns());
    VorelDngMatrix sum = a;
    for (uint32_t row = 0; row < a.rows(); ++row) {
        for (uint32_t column = 0; column < a.columns(); ++column) sum[row][column] += b[row][column];
    }
    return sum;
}

VorelDngMatrix transposed(const VorelDngMatrix &a) {
    VorelDngMatrix turned(a.columns(), a.rows());
    for (uint32_t row = 0; row < a.rows(); ++row) {
        for (uint32_t column = 0; column < a.columns(); ++column) turned[column][row] = a[row][column];
    }
    return turned;
}

VorelDngMatrix diagonal(const VorelDngVector &entries) {
    VorelDngMatrix matrix(entries.count(), entries.count());
    for (uint32_t i = 0; i < entries.count(); ++i) matrix[i][i] = entries[i];
    return matrix;
}

VorelDngMatrix Invert(const VorelDngMatrix &a) {
    require_shape(!a.empty());
    if (a.rows() == a.columns()) return inverse_of_square(a);
    const VorelDngMatrix turned = transposed(a);
    return a.rows() > a.columns() ? inverse_of_square(turned * a) * turned : turned * inverse_of_square(a * turned);
}

VorelDngMatrix Invert(const VorelDngMatrix &a, const VorelDngMatrix &hint) {
    if (a.rows() == a.columns() || hint.rows() != a.columns() || hint.columns() != a.rows()) return Invert(a);
    return inverse_of_square(hint * a) * hint;
}
