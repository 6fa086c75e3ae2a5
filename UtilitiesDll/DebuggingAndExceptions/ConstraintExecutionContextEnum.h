#pragma once
// The identifiers of constraint execution contexts
// (ConstraintExecutionContextEnum), pushed while the constraint engine applies
// constraints. Fixed values from 31500 in table order, as for
// ExecutionContextEnum; CECIE_NO_MORE_ENUMS (31504) is the end marker (named,
// not valid; valid: 31500 to 31503).
//
// The one table generates both the enumeration (here) and the name table of
// ConstraintExecutionContextBase (ConstraintExecutionContextBase.cpp).

#define HDU_CONSTRAINT_EXECUTION_CONTEXT_ENUM_TABLE(FIRST, NEXT) \
  FIRST(CECIE_NOT_SPECIFIED)                                     \
  NEXT(CECIE_ADD_DI_COMMON_CONSTRAINTS)                          \
  NEXT(CECIE_ADD_DI_DISC_CONSTRAINTS)                            \
  NEXT(CECIE_ADD_DI_KARVEN_CONSTRAINTS)                          \
  NEXT(CECIE_NO_MORE_ENUMS)

#define HDU_CONSTRAINT_EXECUTION_CONTEXT_ENUM_FIRST(name) name = 31500,
#define HDU_CONSTRAINT_EXECUTION_CONTEXT_ENUM_NEXT(name) name,
// Passed and returned as a plain `int`; the enumeration names the values.
enum ConstraintExecutionContextEnum : int {
  HDU_CONSTRAINT_EXECUTION_CONTEXT_ENUM_TABLE(HDU_CONSTRAINT_EXECUTION_CONTEXT_ENUM_FIRST,
                                              HDU_CONSTRAINT_EXECUTION_CONTEXT_ENUM_NEXT)
};
#undef HDU_CONSTRAINT_EXECUTION_CONTEXT_ENUM_FIRST
#undef HDU_CONSTRAINT_EXECUTION_CONTEXT_ENUM_NEXT

static_assert(CECIE_NO_MORE_ENUMS == 31504, "5 names from 31500: the end marker is 31504");
