# peers.R - solves and times what the benchmark sends; worker.hpp describes the messages.
suppressPackageStartupMessages({
  library(nnls)
  library(quadprog)
  library(splines)
})

input <- file("stdin", "rb", raw = TRUE)
output <- file("/dev/stdout", "wb", raw = TRUE)

send <- function(values) {
  writeBin(as.double(c(length(values), values)), output)
  flush(output)
}

receive <- function() {
  count <- readBin(input, "double", 1)
  if (length(count) < 1) quit(save = "no")
  readBin(input, "double", count)
}

nonnegative <- function(values) {
  m <- values[1]
  n <- values[2]
  A <- matrix(values[2 + seq_len(m * n)], m, n)
  b <- values[2 + m * n + seq_len(m)]
  function() nnls(A, b)$x
}

# min |A x - b| with constraints, as a quadratic program: x'A'Ax / 2 - b'A x.
program <- function(A, b, constraints, bounds) {
  solve.QP(crossprod(A), drop(crossprod(A, b)), t(constraints), bounds)$solution
}

within_bounds <- function(values) {
  m <- values[1]
  n <- values[2]
  A <- matrix(values[2 + seq_len(m * n)], m, n)
  rest <- values[-seq_len(2 + m * n)]
  b <- rest[seq_len(m)]
  lower <- rest[m + seq_len(n)]
  upper <- rest[m + n + seq_len(n)]
  function() program(A, b, rbind(diag(n), -diag(n)), c(lower, -upper))
}

under_constraints <- function(values) {
  m <- values[1]
  n <- values[2]
  k <- values[3]
  A <- matrix(values[3 + seq_len(m * n)], m, n)
  rest <- values[-seq_len(3 + m * n)]
  b <- rest[seq_len(m)]
  C <- matrix(rest[m + seq_len(k * n)], k, n)
  d <- rest[m + k * n + seq_len(k)]
  function() program(A, b, C, d)
}

# Second derivative at least g at n inner knots and both ends, fitted to (x, y) and evaluated at x.
convex_spline <- function(values) {
  m <- values[1]
  n <- values[2]
  g <- values[3]
  x <- values[3 + seq_len(m)]
  y <- values[3 + m + seq_len(m)]
  function() {
    inner <- seq(x[1], x[m], length.out = n + 2)
    knots <- c(rep(x[1], 3), inner, rep(x[m], 3))
    design <- splineDesign(knots, x)
    curvature <- splineDesign(knots, inner, derivs = 2)
    drop(design %*% program(design, y, curvature, rep(g, n + 2)))
  }
}

problems <- list(nonnegative, within_bounds, under_constraints, convex_spline)

send(utf8ToInt(sprintf("R %s.%s with nnls %s, quadprog %s", R.version$major, R.version$minor,
                       as.character(packageVersion("nnls")),
                       as.character(packageVersion("quadprog")))))
solve <- NULL
repeat {
  message <- receive()
  if (message[1] != 0) {
    solve <- problems[[message[1]]](message[-1])
    send(solve())
  } else {
    calls <- 8 * message[2]  # the clock ticks in milliseconds
    start <- proc.time()
    for (k in seq_len(calls)) solve()
    used <- proc.time() - start
    send((used[["user.self"]] + used[["sys.self"]]) / 8)
  }
}
