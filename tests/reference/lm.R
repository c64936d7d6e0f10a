# Writes lm.hpp: a weighted regression, one without intercept and one with a dependent column, by R's lm.
#
#     Rscript lm.R lm.hpp
#
# The numbers are those of the version that the header names; the test does not need R.
set.seed(5)
x <- cbind(1:12, c(2, 7, 1, 8, 2, 8, 1, 8, 2, 8, 4, 5), c(3, 1, 4, 1, 5, 9, 2, 6, 5, 3, 5, 8))
y <- c(2.5, 4.25, 3, 6.75, 6.5, 10, 6.25, 10.5, 9, 12.25, 11, 14.5)
w <- c(1, 2, 0.5, 1, 4, 1, 0, 1.5, 1, 2, 1, 0.25)
numbers <- function(v) {
  text <- ifelse(is.na(v), "missing", sprintf("%.17g", v))
  paste0("{", paste(text, collapse = ", "), "}")
}
fit <- function(name, model) {
  s <- summary(model)
  k <- length(coef(model))
  full <- function(column) { v <- rep(NA, k); v[!is.na(coef(model))] <- coef(s)[, column]; v }
  x <- ifelse(is.na(coef(model)), 0, coef(model))
  ci <- confint(model, level = 0.9)
  c(sprintf('    {"%s",', name),
    sprintf("     %s,", c(numbers(x), numbers(full(2)), numbers(full(3)), numbers(full(4)),
                          numbers(ci[, 1]), numbers(ci[, 2]), numbers(residuals(model)),
                          numbers(as.vector(vcov(model, complete = FALSE))))),
    sprintf("     %s},", paste(sprintf("%.17g", c(s$sigma, s$r.squared, s$adj.r.squared, s$fstatistic[1],
              pf(s$fstatistic[1], s$fstatistic[2], s$fstatistic[3], lower.tail = FALSE),
              model$df.residual, model$rank)), collapse = ", ")))
}
dependent <- cbind(x[, 1:2], x[, 1] + x[, 2], x[, 3])
out <- c("// tests/reference/lm.hpp - regressions by lm of R.", "//",
  sprintf("// Written by lm.R in this folder with %s. To write it again:", R.version.string),
  "//   Rscript lm.R lm.hpp", "#pragma once", "", "#include <limits>", "#include <vector>", "",
  "inline constexpr double missing = std::numeric_limits<double>::quiet_NaN();",
  "",
  "struct Lm {", "  const char* name;",
  "  std::vector<double> x, errors, t, p, low, high, residual, covariance;  // intervals of level 0.9",
  "  double sigma, r_squared, adjusted, f, f_p, df, rank;", "};", "",
  "// clang-format off",
  "/// x row by row, three columns; the third model has x1, x2, x1 + x2, x3.",
  sprintf("inline const std::vector<double> lm_x = %s;", numbers(as.vector(t(x)))),
  sprintf("inline const std::vector<double> lm_y = %s;", numbers(y)),
  sprintf("inline const std::vector<double> lm_w = %s;", numbers(w)), "",
  "inline const std::vector<Lm> lm_fits = {",
  fit("weights and intercept", lm(y ~ x, weights = w)), fit("no intercept", lm(y ~ x - 1)),
  fit("intercept", lm(y ~ x)), fit("dependent", lm(y ~ dependent, weights = w)),
  "};", "// clang-format on")
writeLines(out, commandArgs(TRUE)[1])
