#include "General/Dimension.h"

#include "General/Number.h"
#include "LowLevelFacilities/Formatter.h"

namespace {
bool isKnownUnit(DimensionUnitEnum unit) {
  return unit >= DIMENSION_UNIT_INCHES && unit <= DIMENSION_UNIT_MICRONS;
}
}  // namespace

Dimension::Dimension(double value, DimensionUnitEnum unit)
    : m_value(value), m_unit(isKnownUnit(unit) ? unit : DIMENSION_UNIT_MICRONS) {}

double Dimension::MicronsPerUnit(DimensionUnitEnum unit) noexcept {
  switch (unit) {
    case DIMENSION_UNIT_INCHES:
      return 25400.0;
    case DIMENSION_UNIT_MILLIMETERS:
      return 1000.0;
    case DIMENSION_UNIT_CENTIMETERS:
      return 10000.0;
    case DIMENSION_UNIT_POINTS:
      return 25400.0 / 72.0;
    case DIMENSION_UNIT_TENTHS_OF_MILLIMETERS:
      return 100.0;
    case DIMENSION_UNIT_THOUSANDTHS_OF_INCH:
      return 25.4;
    case DIMENSION_UNIT_HUNDREDTHS_OF_MILLIMETERS:
      return 10.0;
    case DIMENSION_UNIT_MICRONS:
    default:
      return 1.0;
  }
}

const char* Dimension::GetUnitAbbreviation(DimensionUnitEnum unit) noexcept {
  switch (unit) {
    case DIMENSION_UNIT_INCHES:
      return "in";
    case DIMENSION_UNIT_MILLIMETERS:
      return "mm";
    case DIMENSION_UNIT_CENTIMETERS:
      return "cm";
    case DIMENSION_UNIT_POINTS:
      return "pt";
    case DIMENSION_UNIT_TENTHS_OF_MILLIMETERS:
      return "0.1mm";
    case DIMENSION_UNIT_THOUSANDTHS_OF_INCH:
      return "mil";
    case DIMENSION_UNIT_HUNDREDTHS_OF_MILLIMETERS:
      return "0.01mm";
    case DIMENSION_UNIT_MICRONS:
    default:
      return "um";
  }
}

double Dimension::GetValueIn(DimensionUnitEnum unit) const noexcept {
  const double microns = m_value * MicronsPerUnit(m_unit);
  return unit == DIMENSION_UNIT_MICRONS ? microns : microns / MicronsPerUnit(unit);
}

std::int32_t Dimension::GetStorageValue() const noexcept {
  if (m_isStoredValue) {
    return static_cast<std::int32_t>(m_value);
  }
  return Number::RoundToInt32(GetValueIn(DIMENSION_UNIT_MICRONS));
}

Dimension Dimension::FromStorageValue(std::int32_t microns) noexcept {
  Dimension dimension(static_cast<double>(microns), DIMENSION_UNIT_MICRONS);
  dimension.m_isStoredValue = true;
  return dimension;
}

std::string Dimension::GetDisplayString() const {
  return InternalHaldenCP::formatToStdString("%g %s", m_value, GetUnitAbbreviation(m_unit));
}
