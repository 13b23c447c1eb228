// Small vectors and matrices of colours, in doubles: up to four camera colours on either side.
#pragma once

#include <cstdint>

class VorelDngVector {
  public:
    static constexpr uint32_t kMost = 4;

    VorelDngVector() = default;
    // Zeros; at most kMost entries.
    explicit VorelDngVector(uint32_t count) : count_(count < kMost ? count : kMost) {}
    virtual ~VorelDngVector() = default;
    VorelDngVector(const VorelDngVector &) = default;
    VorelDngVector &operator=(const VorelDngVector &) = default;

    uint32_t count() const { return count_; }
    bool empty() const { return count_ == 0; }
    double &operator[](uint32_t i) { return data_[i]; }
    double operator[](uint32_t i) const { return data_[i]; }

    // 0 for an empty vector.
    double maxEntry() const;
    double minEntry() const;
    // Multiplies every entry.
    void scale(double factor);
    // count ones.
    void setIdentity(uint32_t count);

  private:
    uint32_t count_ = 0;
    double data_[kMost] = {};
};

class VorelDngVector3 : public VorelDngVector {
  public:
    VorelDngVector3() : VorelDngVector(3) {}
    VorelDngVector3(double a, double b, double c) : VorelDngVector(3) {
        (*this)[0] = a, (*this)[1] = b, (*this)[2] = c;
    }
    // The first three entries; zeros where there are fewer.
    explicit VorelDngVector3(const VorelDngVector &other);
};

class VorelDngMatrix {
  public:
    static constexpr uint32_t kMost = 4;

    VorelDngMatrix() = default;
    // Zeros; at most kMost on either side.
    VorelDngMatrix(uint32_t rows, uint32_t columns)
        : rows_(rows < kMost ? rows : kMost), columns_(columns < kMost ? columns : kMost) {}
    virtual ~VorelDngMatrix() = default;
    VorelDngMatrix(const VorelDngMatrix &) = default;
    VorelDngMatrix &operator=(const VorelDngMatrix &) = default;

    uint32_t rows() const { return rows_; }
    uint32_t columns() const { return columns_; }
    bool empty() const { return rows_ == 0 || columns_ == 0; }
    double *operator[](uint32_t row) { return data_[row]; }
    const double *operator[](uint32_t row) const { return data_[row]; }

    void setIdentity(uint32_t count);
    // Multiplies every entry.
    void scale(double factor);
    // 0 for an empty matrix.
    double maxEntry() const;
    double minEntry() const;
    // Square, with no entry farther than 1e-8 from the identity's.
    bool isAlmostIdentity() const;

  private:
    uint32_t rows_ = 0, columns_ = 0;
    double data_[kMost][kMost] = {};
};

class VorelDngMatrix3x3 : public VorelDngMatrix {
  public:
    VorelDngMatrix3x3() : VorelDngMatrix(3, 3) {}
    VorelDngMatrix3x3(double a00, double a01, double a02, double a10, double a11, double a12, double a20, double a21,
                      double a22);
    // The top left 3 x 3 entries; zeros where there are fewer.
    explicit VorelDngMatrix3x3(const VorelDngMatrix &other);
};

// The operations throw std::invalid_argument where the shapes do not fit.
VorelDngMatrix operator*(const VorelDngMatrix &a, const VorelDngMatrix &b);
VorelDngVector operator*(const VorelDngMatrix &a, const VorelDngVector &b);
VorelDngMatrix operator*(double scale, const VorelDngMatrix &a);
VorelDngVector operator*(double scale, const VorelDngVector &a);
VorelDngMatrix operator+(const VorelDngMatrix &a, const VorelDngMatrix &b);
VorelDngMatrix transposed(const VorelDngMatrix &a);
VorelDngMatrix diagonal(const VorelDngVector &entries);
// The inverse; of a matrix that is not square the pseudo-inverse (least squares). Throws std::domain_error for a
// singular matrix.
VorelDngMatrix Invert(const VorelDngMatrix &a);
// The same, by way of a reduction of more than three camera colours to three where hint has that shape (DNG 1.4,
// ReductionMatrix1).
VorelDngMatrix Invert(const VorelDngMatrix &a, const VorelDngMatrix &hint);
