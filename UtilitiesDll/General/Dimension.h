#pragma once
// Dimension: a length with its unit (media sizes, margins, offsets).
//
// Units and their codes (DimensionUnitEnum):
//   1 inches, 2 millimetres, 3 centimetres, 4 points (1/72 inch),
//   5 tenths of a millimetre (the device-mode paper unit),
//   6 thousandths of an inch, 7 hundredths of a millimetre,
//   8 microns (thousandths of a millimetre): the unit in which dimensions are
//     stored in attribute bytes, as a 32-bit integer (enough for +-2,147
//     metres) made with Number::RoundToInt32 (add 0.499999, truncate), so
//     -5 mm is stored as -4999. A dimension read from storage
//     (FromStorageValue) keeps its stored integer and writes it back
//     unchanged, so reading and writing a record never moves a value.
// Two dimensions are equal when they are the same length, whatever their units
// (compared in microns).

#include "hdUtilitiesExport.h"

#include <cstdint>
#include <string>

enum DimensionUnitEnum : int {
  DIMENSION_UNIT_UNSPECIFIED = 0,
  DIMENSION_UNIT_INCHES = 1,
  DIMENSION_UNIT_MILLIMETERS = 2,
  DIMENSION_UNIT_CENTIMETERS = 3,
  DIMENSION_UNIT_POINTS = 4,
  DIMENSION_UNIT_TENTHS_OF_MILLIMETERS = 5,
  DIMENSION_UNIT_THOUSANDTHS_OF_INCH = 6,
  DIMENSION_UNIT_HUNDREDTHS_OF_MILLIMETERS = 7,
  DIMENSION_UNIT_MICRONS = 8,
};

class HDU_API Dimension {
 public:
  Dimension() = default;
  // An unknown unit code is taken as microns.
  Dimension(double value, DimensionUnitEnum unit);

  double GetValue() const noexcept { return m_value; }
  DimensionUnitEnum GetUnit() const noexcept { return m_unit; }
  double GetValueIn(DimensionUnitEnum unit) const noexcept;
  // The stored form: the stored integer of a dimension read from storage,
  // otherwise its length in microns rounded with Number::RoundToInt32.
  std::int32_t GetStorageValue() const noexcept;
  static Dimension FromStorageValue(std::int32_t microns) noexcept;

  // "215.9 mm", "8.5 in", "21590 um" and so on.
  std::string GetDisplayString() const;
  static const char* GetUnitAbbreviation(DimensionUnitEnum unit) noexcept;
  static double MicronsPerUnit(DimensionUnitEnum unit) noexcept;

  friend bool operator==(const Dimension& a, const Dimension& b) noexcept {
    return a.GetValueIn(DIMENSION_UNIT_MICRONS) == b.GetValueIn(DIMENSION_UNIT_MICRONS);
  }
  friend bool operator<(const Dimension& a, const Dimension& b) noexcept {
    return a.GetValueIn(DIMENSION_UNIT_MICRONS) < b.GetValueIn(DIMENSION_UNIT_MICRONS);
  }

 private:
  double m_value = 0.0;
  DimensionUnitEnum m_unit = DIMENSION_UNIT_MICRONS;
  bool m_isStoredValue = false;
};
