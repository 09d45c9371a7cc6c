// Every message text of the formula engine and its function library, in one table.
// "%s" marks a place filled by FormatMessage; a compile-time message begins with the text of the
// expression being compiled. Texts are kept exactly, stray quote characters included.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace loom {

// Tokenizer and syntax check.
inline constexpr const char* rsUnbalancedBrackets = "Unbalanced brackets";
inline constexpr const char* rsIllegalCharacter = "%s: illegal character \"%s\"";  // 1+#
inline constexpr const char* rsTwoSuccessive =
    "%s: two successive variables/constants \"%s\"";                             // 3 4
inline constexpr const char* rsUnknownFunction = "%s: unknown function \"%s\"";  // foo(1)
inline constexpr const char* rsEmptyBrackets = "%s: empty brackets \"()\"";      // ()
inline constexpr const char* rsMissingBetweenBrackets =
    "%s: missing operand between brackets \")(\"";  // (1)(2)
inline constexpr const char* rsMissingAfterBracket =
    "%s: missing operand between bracket \")\" and constant/variable";  // (1)2
inline constexpr const char* rsMissingBeforeBracket =
    "%s: missing operand between constant/variable and bracket \"(\"";              // 2(1)
inline constexpr const char* rsInvalidNumber = "%s: \"%s\" is not a valid number";  // 1e
inline constexpr const char* rsUnclosedString = "%s: string is not closed: %s";     // "ab
inline constexpr const char* rsFormulaTooLong = "%s: formula is longer than %s characters";
inline constexpr const char* rsNestedTooDeeply = "%s: formula is nested more than %s levels deep";
inline constexpr const char* rsChainTooLong = "%s: formula chains more than %s operators";

// Tree building and argument check.
inline constexpr const char* rsTooFewArguments = "%s: function or operand has too few arguments";
inline constexpr const char* rsTooManyArguments = "%s: function \"%s\" has too many arguments\"";
inline constexpr const char* rsMissingArgument = "%s: function \"%s\" has missing argument";
inline constexpr const char* rsSyntaxError = "%s: syntax error in expression \"%s\"";  // 1 )
inline constexpr const char* rsCannotFindOperand = "%s: Can not find operand/function \"%s\"";
inline constexpr const char* rsNotAssignable =
    "%s: \"%s\" is not a variable and cannot be assigned";
inline constexpr const char* rsArgumentNotWritable =
    "%s: argument %s of \"%s\" receives a result and cannot be a constant";  // Ramp(pi, 0, 1, 3)
inline constexpr const char* rsSecondJumpCommand =
    "%s: a line holds at most one jump command, \"%s\" is a second one";  // If(a) + While(b)

// Values.
inline constexpr const char* rsNotAValidNumber =
    "\"%s\" is not a valid number";                                   // a constant's text
inline constexpr const char* rsInvalidDatatype = "Invalid datatype";  // display text of a non-value
inline constexpr const char* rsOutOfMemory = "Out of memory";

// Evaluation.
inline constexpr const char* rsNotBoolean = "%s: expression is not boolean";
inline constexpr const char* rsNotValidStringOperand = "\"%s\" is not a valid string operand";
inline constexpr const char* rsVectorSizesNotMatched = "vector sizes are not matched";
inline constexpr const char* rsInvalidParameters = "Invalid parameters";
inline constexpr const char* rsInvalidArgumentTypes = "Invalid argument types";
inline constexpr const char* rsDivisionByZero = "Division by zero";
inline constexpr const char* rsInvalidFloatingPoint = "Invalid floating point operation";
inline constexpr const char* rsVectorTooLarge = "%s: a vector may hold at most %s elements";
inline constexpr const char* rsStringTooLong = "%s: a string may hold at most %s characters";
inline constexpr const char* rsVectorEmpty = "%s: the vector is empty";
inline constexpr const char* rsCountNegative = "%s: the number of elements must not be negative";
inline constexpr const char* rsLengthTooShort = "%s: the length must be at least 1";
inline constexpr const char* rsBinsTooFew = "%s: the number of bins must be at least 1";
inline constexpr const char* rsHistogramRangeEmpty = "%s: endvalue must differ from startvalue";
inline constexpr const char* rsNotAvailable = "%s: this function is not available in this build";

// Interpolation.
inline constexpr const char* rsInterpolationParametersInvalid =
    "Interpolation parameters are invalid";
inline constexpr const char* rsInterpolationVectorInvalid =
    "Interpolation vector invalid or value out of bounds";

// Jump pairing.
inline constexpr const char* rsInvalidLoopCommand = "Invalid loop command: \"%s\" expects \"%s\"";
inline constexpr const char* rsLoopsNotMatched = "Loops or jumps are not matched";

// Replaces each "%s" of format, in order, with the next argument; a "%s" without an argument
// stays as it is, so a wrong count shows in the message instead of reading past the list.
std::string FormatMessage(std::string_view format, std::initializer_list<std::string_view> args);

}  // namespace loom
