// tools/number.hpp - numbers from text and back.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tabfit::tool {

enum class Reading { number, garbage, infinite, out_of_range };

/// Reads all of text, without the blanks around it, as one finite number. Instantiated for float,
/// double and long double.
template <class Real>
Reading read_number(std::string_view text, Real& value);

/// The same, but throws BadInput, which says what is wrong with the text and where it stands.
template <class Real>
Real number_or_throw(const std::string& text, const std::string& source, const std::string& where);

/// All of text as a whole number. Throws BadInput, which names the option and the number.
int whole_number(const std::string& text, const std::string& option, const std::string& name, int least,
                 int most);

/// The parts of a list.
std::vector<std::string> split(const std::string& text, char separator);

/// The shortest text that reads back to the same value.
std::string shortest(float value);
std::string shortest(double value);

}  // namespace tabfit::tool
