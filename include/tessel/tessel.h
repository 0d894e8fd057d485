/* The exported functions of libtessel13_morv_64, one comment each.
 *
 * Every function has the shape of MorvFunction: results go to `rtn` and to output arguments, arguments are read at
 * fixed positions and `count` is not looked at, so a caller passes exactly the number of arguments that is given here.
 * Argument lists below read: position, kind, name, shape. An output is an array record (an "output reference"); an
 * optional output is declined by passing anything else. Sizes that a function cannot use end it without a message, as
 * told for each. */
#ifndef TESSEL_TESSEL_H
#define TESSEL_TESSEL_H

#include <morv/morv.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Algebra workspace. One workspace exists at a time, from FnInitAlgebraNls to FnExitAlgebraNls. Observations count
 * from 0. The language's manual is docs/algebra.md. */

/* Opens a workspace: copies the data into a new database and compiles a program, which does not run yet.
 *   0 matrix  data       T x k, row t observation t, column i variable i
 *   1 array   names      k strings
 *   2 integer year       of the first observation
 *   3 integer period     of the first observation
 *   4 integer frequency  periods in a year, at least 1
 *   5 integer dated      not 0: variable 0 holds the observations' dates (Julian day numbers); ignored when k is 0
 *   6 string  code       the program
 *   7 optional output  starts   p x 1: starting values of the parameters
 *   8 optional output  numbers  p x 1: the parameters' numbers, ascending
 * A program with parameters needs both outputs, one without needs anything else in their places.
 *
 * rtn: untouched on success. On failure a string, and no workspace is open: the scanner's or compiler's message,
 * "Algebra initialization error" (no memory, a frequency below 1, or a sample that cannot be counted),
 * "Algebra initialization error: cannot create database", "Error: Need starting values for all parameters",
 * "Error: No parameters to estimate", "Error: No parameters alllowed here". A workspace that was still open is
 * closed. */
MORV_API void FnInitAlgebraNls(MorvValue *rtn, MorvValue *args, int count);

/* Runs the program over a range of observations.
 *   0 matrix  parameters  as many cells as the program has parameters, in ascending order of number; 0 x 0 for none
 *   1 integer first       observation, inside the sample
 *   2 integer last        observation, inside the sample; one before `first` runs the program at `first` alone
 * rtn: untouched when the run succeeded; the string "Algebra run error" for a wrong count of parameters, a range
 * outside the sample or no workspace, with no run; an empty string when the run failed. */
MORV_API void FnRunAlgebraNls(MorvValue *rtn, MorvValue *args, int count);

/* Reads a variable.
 *   0 string  name
 *   1 integer first      observation, not negative
 *   2 integer last       observation; lowered to the last one of the sample
 *   3 optional matrix  selection  1 x T or T x 1 flags; anything else takes all of the range
 * With a selection only the observations are taken whose flag, truncated to an integer, is not 0.
 *
 * rtn: n x 1; untouched for an unknown name, a negative first observation or no workspace. */
MORV_API void FnGetAlgebraVar(MorvValue *rtn, MorvValue *args, int count);

/* The name of a variable.
 *   0 integer index  the host's variables come first, in order, then those that the program added
 * rtn: string, empty when there is no such variable. */
MORV_API void FnGetAlgebraName(MorvValue *rtn, MorvValue *args, int count);

/* The variables that the program added.
 *   0 output  data   T x a, a column for each
 *   1 output  names  array of a strings
 * rtn: untouched. */
MORV_API void FnGetAlgebraAddedData(MorvValue *rtn, MorvValue *args, int count);

/* Closes the workspace; does nothing when none is open. No arguments, no result. */
MORV_API void FnExitAlgebraNls(MorvValue *rtn, MorvValue *args, int count);

/* ---- Conditional variance and regime models. Everything runs at given parameters. */

/* Conditional variances of an EGARCH model. With l the log-variance, e the residual and z = e exp(-l/2):
 *   l_t = c_t + a_1 g_(t-1) + ... + b_1 l_(t-1) + ...,  g_t = theta1 (|z_t| - m) + theta2 z_t.
 * Before the sample g is 0 and l the logarithm of the mean square of y. l is bounded at 709.
 *   0 matrix  y       T x 1, the series without its mean
 *   1 matrix  c       T intercepts
 *   2 double  theta2  3 double theta1  4 double m
 *   5 matrix  a       first row
 *   6 matrix  b       first row
 *   7 integer kind    of the variance in the mean: e_t = y_t less delta exp(l_t) for 1, delta exp(l_t / 2) for 2,
 *                     delta l_t for 3, nothing for any other
 *   8 double  delta
 *   9 output  l       T x 1
 *  10 output  e       T x 1
 * rtn: 1, also for an empty series; 0 with outputs unchanged when y has not one column, c fewer than T cells, a or b
 * columns but no row, or an output has no memory. Without work memory rtn is 1 and both outputs hold zeros. From
 * t = max(columns of a, of b) on, l holds the bounded values, earlier those before the bound.
 * Nelson, D.B. (1991), Conditional heteroskedasticity in asset returns: a new approach, Econometrica 59. */
MORV_API void FnEgarchVar(MorvValue *rtn, MorvValue *args, int count);

/* Conditional variances of a GARCH(p, q) model:
 *   h_t = c_t + sum of alpha_j (e_(t-j) - tau)^2 + sum of B_j h_(t-j) + gamma (e_(t-1) - tau)^2 1{e_(t-1) < tau}.
 * Before the sample squares and variances are the mean square of y, and the threshold term is absent.
 *   0 matrix  y      T x 1, the series without its mean
 *   1 matrix  c      T intercepts
 *   2 matrix  one cell that is not read, A_1 to A_max(p, q), B_1 to B_p; alpha_j is A_j - B_j for j up to p, else A_j
 *   3 integer p      4 integer q
 *   5 integer kind   of the variance in the mean: e_t = y_t less delta h_t for 1, delta sqrt(h_t) for 2, delta log(h_t)
 *                    for 3, nothing for any other
 *   6 double  delta  7 double tau  8 double gamma
 *   9 output  h      T x 1
 *  10 output  e      T x 1
 * rtn: 1; 0 with outputs unchanged when T is below 1, y has not one column, c fewer than T cells, a lag order is
 * negative or the coefficients are too few, or memory fails. Neither h nor its logarithm is tested or bounded.
 * Bollerslev, T. (1986), Generalized autoregressive conditional heteroskedasticity, Journal of Econometrics 31.
 * Glosten, L.R., Jagannathan, R. and Runkle, D.E. (1993), On the relation between the expected value and the volatility
 * of the nominal excess return on stocks, Journal of Finance 48. */
MORV_API void FnGarchVar(MorvValue *rtn, MorvValue *args, int count);

/* Forward filter of a Markov chain of n hidden regimes.
 *   0 matrix  F   T x n, the density of each observation given each regime; a negative one counts as 0
 *   1 matrix  P   n x n, P[i][j] the probability of regime i after regime j
 *   2 matrix  pi  1 x n, probabilities of the first regime
 *   3 output      T x 1, the likelihood of each observation given the past
 *   4 optional output  filtered probabilities, T x n
 * rtn: 1; untouched when an output has no memory. Without work memory the outputs hold missing values. A likelihood of
 * 0 leaves probabilities that are not numbers from there on. Matrices P and pi of other shapes are refused.
 * Hamilton, J.D. (1989), A new approach to the economic analysis of nonstationary time series and the business cycle,
 * Econometrica 57. */
MORV_API void FnFilterMS(MorvValue *rtn, MorvValue *args, int count);

/* Backward smoother of a Markov chain of n hidden regimes.
 *   0 matrix  T x n, filtered probabilities of FnFilterMS
 *   1 matrix  P  n x n, P[i][j] the probability of regime i after regime j
 *   2 output  T x n, probabilities of the regimes given all observations
 *   3 output  n x n, cell (i, j) the expected number of moves from regime j to regime i
 * Smoothed probabilities at or below 1e-100 become 0, those above 1 become 1, and rows are not scaled to sum to 1.
 * rtn: 1; untouched when T is below 1 or an output has no memory. Without work memory the outputs hold missing values.
 * A matrix P of another shape is refused.
 * Kim, C.-J. (1994), Dynamic linear models with Markov-switching, Journal of Econometrics 60. */
MORV_API void FnSmoothMS(MorvValue *rtn, MorvValue *args, int count);

/* ---- Forecasting. Series stand one to a row, time along the columns, counted from 0. A linear system of nY endogenous
 * variables has the reduced form y_t = Pi x_t, x_t its nX regressors: lags of y and anything else. Three rows describe
 * its nY + nX variables: who the variable is, what kind it has, and its lag. Each endogenous variable, of one of two
 * kinds, stands there once with lag 0. The regressors are ordered thus, in Pi and in their matrix: lags of endogenous
 * variables of the first kind, then of the second, each as the descriptors have them, then the others. The rows that
 * stand for lags are there but are not read. Luetkepohl, H. (2005), New Introduction to Multiple Time Series Analysis.
 */

/* Dynamic or h-step forecasts, with standard errors.
 *   0 matrix  y           nY x any, actual values; beyond them y is missing
 *   1 matrix  x           nX x T, regressors over sample and forecast span
 *   2 integer t1          first forecast column; a negative one counts as 0
 *   3 integer t2          last forecast column; at most T - 1
 *   4 integer             has no effect
 *   5 integer first kind  6 integer second kind
 *   7 matrix  identities  8 matrix kinds  9 matrix lags: nY + nX integers in the first row
 *  10 matrix  Pi          nY x nX
 *  11 matrix  Omega       nY x nY, covariance of the errors; read for standard errors
 *  12 optional matrix  V  covariance of the coefficients, equation by equation: nY nX x nY nX, or nQ x nQ with Q.
 *                         Anything else, or no cells: coefficients without error
 *  13 optional matrix  Q  nY nX x nQ: the coefficients are Q times those of V. Anything else, or no cells: none
 *  14 integer nQ
 *  15 integer h           0 or below: dynamic over the span. Above: each forecast starts h columns back from actual
 *                         values, the first h - 1 from those before t1
 *  16 optional output     standard errors, of the shape of rtn
 *  17 integer             not 0: with identities. The variables that the open Algebra workspace's program added are
 *                         forecast as well; the workspace's first nY variables are the endogenous ones
 *  18 integer before      observation of the workspace just before the first forecast
 * rtn: nY rows, and one for each identity, with a column for each forecast. A variance that is missing or not above 0
 * gives a standard error of 0. Standard errors of a system with identities come from central differences; the program
 * then runs from the observation before the forecasts on. Where the program fails, its variables are missing in that
 * column. Every h-step forecast reuses the workspace's observations before + 1 to before + h, `before` being argument
 * 18. So lags of up to h - 1 columns in an identity see the right columns. A longer one reaches what the workspace
 * holds from before the first forecast: give an identity with such lags a dynamic forecast.
 *
 * rtn and output are untouched when the span is empty, t1 is below the longest lag, a matrix is too small, or nQ below
 * 1 with a Q; with identities also when no workspace is open, it has fewer than nY variables of the host's, or t2 or an
 * observation that the forecasts need lies outside its sample (with standard errors that of argument 18 counts, and t1
 * must be at least 1). rtn is untouched, and the output holds missing values where nothing was stored, when Pi has no
 * cells, h is above the number of forecasts, fewer than nY variables have lag 0, or memory fails. */
MORV_API void FnDynForc(MorvValue *rtn, MorvValue *args, int count);

/* Responses of the endogenous variables to a one-off shock, from a history of zeros. Regressors other than lags, and
 * all values of y and x, play no part.
 *   0 matrix  y           nY rows
 *   1 matrix  x           nX x T
 *   2 integer t1          column of the shock, at least the longest lag less 1; a negative one counts as 0
 *   3 integer t2          last column; at most T - 1
 *   4 integer reduced     not 0: the shock acts on the variables, and there are nS = nY equations with errors.
 *                         0: minus map times the shock does, and nS is the number of rows of Omega
 *   5 integer first kind  6 integer second kind
 *   7 matrix  identities  8 matrix kinds  9 matrix lags: nY + nX integers in the first row
 *  10 matrix  Pi          nY x nX
 *  11 matrix  Omega       nS x nS, covariance of the errors; read for kinds 1 and 2
 *  12 optional matrix  map    nY x nY; read when argument 4 is 0
 *  13 optional matrix  shock  nY cells in the first row; read for kind 3
 *  14 integer equation    that is shocked, from 0
 *  15 integer kind        0: 1 in that variable. 1: the standard error of that equation. 2: that column of the lower
 *                         Cholesky factor of Omega. 3: the vector of argument 13
 * rtn: nY x t2 - t1 + 1, column 0 the shock. It is untouched when the span is empty, a matrix is absent or too small,
 * the equation is nY or above (or, but for kind 3, negative; for kinds 1 and 2, nS or above), the kind is none of
 * these, Omega is not positive definite or nS above nY for kind 2, fewer than nY variables have lag 0, or memory fails.
 * Sims, C.A. (1980), Econometrica 48. */
MORV_API void FnImpulse(MorvValue *rtn, MorvValue *args, int count);

/* ---- Limited dependent variable models. Each of the three evaluators returns the log-likelihood at the parameters
 * given, as a double, and fills the outputs that are asked for: the score, the information matrix (with the sign of
 * minus the Hessian), the fitted values, the log-likelihood of each observation, and the sum over observations of the
 * score contribution times its transpose. rtn is the missing value, and no output is touched, when sizes do not fit:
 * fewer parameters than the model has, an outcome out of range, and what each function adds. It is the missing value
 * also when memory fails. Parameters past those of the model have a derivative of 0. Maddala, G.S. (1983),
 * Limited-Dependent and Qualitative Variables in Econometrics. */

/* Actual against predicted outcomes of a discrete choice model.
 *   0 matrix  Y  T x 1, the outcome of each observation, 0 to J - 1; or T x J, the count of each outcome
 *   1 matrix  P  T x J, fitted probabilities
 * rtn: J + 1 x J + 1; cell (r, c) counts the cases of outcome r predicted as c, the outcome of the largest probability.
 * The last row and column hold totals over cells truncated to integers. rtn is untouched when an outcome is out of
 * range, or Y or P too small. */
MORV_API void FnActFitTable(MorvValue *rtn, MorvValue *args, int count);

/* Binary probit: log-likelihood and derivatives.
 *   0 matrix  theta  k parameters
 *   1 matrix  Y      T x 1, 0 or 1
 *   2 matrix  X      T x k
 *   3 matrix  w      weights, T cells; another size means a weight of 1 everywhere
 *   4 optional output  score            nP x 1, nP the cells of theta
 *   5 optional output  information      nP x nP, the expected one
 *   6 optional output  probabilities    T x 2, of outcome 0 (at least 2^-104) and of outcome 1 (not bounded: it is 0
 *                                       below an index of -36.35, and the derivatives are then infinite or missing)
 *   7 optional output  log-likelihoods  T x 1
 *   8 optional output  outer product    nP x nP
 * rtn: the log-likelihood; missing also unless Y has one column and X T rows and at least one column. */
MORV_API void FnBinProbitJD(MorvValue *rtn, MorvValue *args, int count);

/* Count models with mean mu = exp(x'theta): log-likelihood and derivatives.
 *   0 matrix  theta  k parameters; for the negative binomial also log alpha behind them
 *   1 matrix  Y      T x 1, counts (not negative)
 *   2 matrix  X      T x k
 *   3 integer model  0 Poisson, 1 negative binomial of variance mu + alpha mu^(2 - P)
 *   4 integer L      above 0: the counts 0 to L alone occur. 0: no truncation. Below 0: likewise for the negative
 *                    binomial, no model for the Poisson
 *   5 integer cells  the number of counts with predicted frequencies
 *   6 double  P      0 or 1 in the usual forms
 *   7 optional output  score            nP x 1, nP the cells of theta
 *   8 optional output  information      nP x nP; for the negative binomial the outer product of the scores
 *   9 optional output  frequencies      1 x cells, expected numbers of observations with the counts 0 to cells - 1,
 *                                       not cut off above L in a truncated model
 *  10 optional output  log-likelihoods  T x 1
 *  11 optional output  outer product    nP x nP
 * rtn: the log-likelihood; missing also unless Y has one column and X T rows and at least one column. For an unusable
 * model it is missing and the outputs that are asked for hold missing values. */
MORV_API void FnCountJD(MorvValue *rtn, MorvValue *args, int count);

/* Multinomial and conditional logit: log-likelihood and derivatives. Outcome j has the probability exp(eta_j) / sum,
 * eta_j = d_j + x'beta_j + sum over m of Z[t][m J + j] gamma_m, beta_0 = 0.
 *   0 matrix  theta  beta_1, ..., beta_(J-1) of k elements each, then gamma
 *   1 matrix  Y      T x 1, the outcome, 0 to J - 1; or T x J, the count of each outcome
 *   2 integer J      at least 1; at most the columns of Y when Y has several
 *   3 matrix  X      T x k; without T rows it is absent
 *   4 matrix  Z      T x nz, of which nz / J characteristics are used; without T rows it is absent. When the
 *                    information matrix is asked for, Z is left with each characteristic less its
 *                    probability-weighted mean, which changes no later result
 *   5 matrix  w      weights, T cells; another size means a weight of 1 everywhere
 *   6 matrix  d      offsets, T x J; without T rows absent
 *   7 optional output  score            nP x 1, nP the cells of theta
 *   8 optional output  information      nP x nP
 *   9 optional output  probabilities    T x J, kept between 2^-104 and 1
 *  10 optional output  log-likelihoods  T x 1
 *  11 optional output  outer product    nP x nP
 * rtn: the log-likelihood, without multinomial constant; missing also when d has fewer columns than J.
 * McFadden, D. (1974), Conditional logit analysis of qualitative choice behavior, in: Zarembka, P. (ed.), Frontiers in
 * Econometrics. */
MORV_API void FnLogitJD(MorvValue *rtn, MorvValue *args, int count);

/* Derivatives of logit probabilities with respect to the regressors.
 *   0 matrix  theta  as for FnLogitJD
 *   1 matrix  p      first row: the probabilities of the J outcomes at the point of interest
 *   2 integer k      3 integer J  4 integer nz
 * rtn: k + nz rows of J columns. Row i < k: p_j (beta_ji - sum over l of p_l beta_li), for regressor i. Row k + m,
 * m < nz / J: p_j (1 - p_j) gamma_m, for the outcome's own characteristic m. Further rows hold 0. rtn is untouched when
 * J is below 1, k or nz negative, or theta or p too short. */
MORV_API void FnLogitProbDeriv(MorvValue *rtn, MorvValue *args, int count);

/* ---- Regression */

/* The sum of the outer products of moment series, with or without their autocovariances: the middle of a sandwich
 * covariance.
 *   0 matrix  a    T x m
 *   1 matrix  b    at least T rows, n columns
 *   2 integer hac  non-zero: include autocovariances
 * rtn: (m n) x (m n), the sum over t of g g', where g holds a(t, i) b(t, j) at i n + j. With hac also the lags l = 1 to
 * L = 4 (T / 100)^(2/9) (truncated), each lag's sum with its transpose, weighted by 1 - l / (L + 1) (Newey and West
 * 1987). The sums are not divided by T. A zero matrix without work memory; rtn is untouched when b has fewer than T
 * rows. */
MORV_API void FnGLScovariance(MorvValue *rtn, MorvValue *args, int count);

/* Hansen's (1992) statistics of parameter constancy for a least squares regression.
 *   0 matrix x    T x k regressors, row t observation t
 *   1 matrix e    T residuals
 *   2 double rss  residual sum of squares
 *   3 output      1 x (k + 1): the statistic of each coefficient, then of the error variance
 * rtn: the joint statistic (double), or -1 when the scores' cross-products are singular (the output is there all the
 * same) or when memory fails (the output is then untouched). rtn is untouched when T or k is below 1 or e has fewer
 * than T cells. */
MORV_API void FnInstabilityTest(MorvValue *rtn, MorvValue *args, int count);

/* The jackknife covariance of least squares coefficients (MacKinnon and White 1985).
 *   0 matrix x      T x k regressors, row t observation t
 *   1 matrix e      T least squares residuals
 *   2 matrix xxInv  k x k, the inverse of x'x
 * rtn: k x k; 0 x 0 when an observation has a leverage of 1 or more, for then leaving it out leaves the coefficients
 * undetermined. rtn is untouched when T or k is below 1, when e has fewer than T cells or xxInv fewer than k rows or
 * columns, or when memory fails. */
MORV_API void FnJackknifeHCSE(MorvValue *rtn, MorvValue *args, int count);

/* Forecast errors of a regression with autoregressive errors, over the last h observations of the sample.
 *   0 matrix  theta     parameters, as for FnRalsFunc
 *   1 matrix  y         T x 1
 *   2 matrix  x         T x k
 *   3 integer lagFirst
 *   4 integer lagLast
 *   5 integer h         0 to T - lagLast
 *   6 matrix  parCov    covariance matrix of theta in units of the error variance; upper triangle read
 *   7 output            h x 1: forecast errors
 *   8 output            h x 1: their standard errors in units of the error's, sqrt(1 + d' parCov d)
 * rtn (double): the explained sum of squares of a regression of the forecast errors on the model's derivatives d over
 * the whole sample; 0 when that regression is singular, or, with both outputs missing, without work memory. rtn is
 * untouched for sizes that do not fit together, as for FnRalsFunc, for an h out of range, or when an output cannot be
 * had. */
MORV_API void FnRalsForecast(MorvValue *rtn, MorvValue *args, int count);

/* Least squares with autoregressive errors: the objective, for an optimiser.
 * The model is y(t) = x(t)'beta + u(t), u(t) = rho(1) u(t - lagFirst) + rho(2) u(t - lagFirst - 1) + ... + e(t), with
 * lags up to lagLast. The first lagLast observations serve as lags only.
 *   0 matrix  theta     the k coefficients beta, then rho in ascending lag order
 *   1 matrix  y         T x 1
 *   2 matrix  x         T x k, k above 0
 *   3 integer lagFirst  at least 1 when there are lags
 *   4 integer lagLast   below T; below lagFirst: no autoregression
 *   5 output            T x 1: e(t), and u(t) in the first lagLast cells
 *   6 optional output   gradient of the objective, one row a parameter
 *   7 optional output   Gauss-Newton matrix: twice the outer products of the derivatives of e
 * rtn (double): the sum of e(t)^2; missing, with no output allocated, for sizes that do not fit together, and missing
 * when an output cannot be had. Without work memory the optional outputs are zero. */
MORV_API void FnRalsFunc(MorvValue *rtn, MorvValue *args, int count);

/* Two-stage least squares of one equation on a growing sample.
 *   0 matrix  z       variables in rows, observations in columns, in this order: the dependent variable, the other
 *                     endogenous variables, the exogenous regressors, the additional instruments
 *   1 integer nEndog  endogenous variables, the dependent one included; above 0
 *   2 integer k       regressors; above 0 and at least nEndog - 1
 *   3 integer m       additional instruments; above 0
 *   4 integer t1      first observation, at least 0
 *   5 integer t2      last observation, t1 to the last column of z
 *   6 integer nInit   observations of the first estimate
 * The outputs have t2 + 1 columns, missing where there is no step:
 *   7 optional output  k x: coefficients, in the order of z
 *   8 optional output  k x: diagonal of the inverse moment matrix of the fitted regressors (0 where rounding made it
 *                      negative)
 *   9 optional output  1 x: one-step innovations over their scale sqrt(1 + x'V x), at the observation predicted
 *  10 optional output  1 x: one-step innovations
 *  11 optional output  1 x: residual sum of squares
 *  12 optional output  1 x: the residual of the step's own observation
 * rtn (integer): 1; 0 when a step's moments are singular or memory fails (the steps before it stay), or without an
 * exogenous regressor. Untouched, with nothing allocated, for arguments outside the limits above. */
MORV_API void FnRivEst(MorvValue *rtn, MorvValue *args, int count);

/* Recursive least squares of n equations with the same k regressors.
 *   0 matrix  y       at least t2 + 1 rows, n columns; row t observation t
 *   1 matrix  x       at least t2 + 1 rows, k columns
 *   2 integer t1      first observation, at least 0
 *   3 integer t2      last observation, at least t1
 *   4 integer tExact  an observation at which the sample is factorised anew; any other value: none
 * The outputs have t2 + 1 columns, missing below column t1 + k, the first step:
 *   5 optional output  n k x: coefficients, row j k + i for coefficient i of equation j
 *   6 optional output  k x: diagonal of (x'x)^-1, missing for a regressor that was dropped as collinear (its
 *                      coefficients are 0)
 *   7 optional output  n x: standardised innovations
 *   8 optional output  n x: innovations, from the coefficients of the step before
 *   9 optional output  n x: residual sum of squares
 *  10 optional output  n x: residuals, from the coefficients of the same step
 *  11 optional output  1 x: -1/2 log |residual cross-products / (t2 - t1 + 1)|; missing where that is singular
 * Standardised innovations divide by sqrt(1 + x'(x'x)^-1 x), with the inverse before the observation on rank-one steps
 * and the inverse that includes it on the steps that factorise anew: the first, every 50th after it, tExact, and any
 * after an ill-conditioned factorisation.
 * rtn (integer): 1 when all steps ran, 0 when there was no observation for a first step (the outputs' cells are then
 * not set), when the recursion broke down (the steps before stay) or when memory fails. Untouched, with nothing
 * allocated, for arguments outside the limits above. */
MORV_API void FnRlsEst(MorvValue *rtn, MorvValue *args, int count);

/* ---- Seasonal */

/* Removes seasonal means from each column of a matrix.
 *   0 matrix  x  T x m, each column a series
 *   1 integer p  the number of seasons, at least 2
 * rtn: T x m, each cell less the mean of its column's cells of the same season (rows s, s + p, s + 2p, ...).
 * A missing value makes its season missing in that column. rtn is untouched when T or m is below 1 or p below 2. */
MORV_API void FnDeSeasonalize(MorvValue *rtn, MorvValue *args, int count);

/* R^2 of a model of a seasonal series against seasonal means of its first differences.
 *   0 matrix  y    T x 1
 *   1 integer p    seasons, at least 2
 *   2 double  rss  residual sum of squares of the model
 *   3 output       1 x p: mean first difference of each season
 * rtn (double): 1 - rss / tss, tss the squared deviations of the first differences from their seasonal means; -1, with
 * the output's cells not set, when T is at most 2 p. rtn and the output are untouched when T is below 1, y has not
 * exactly 1 column or p is below 2. */
MORV_API void FnSeasonalRsq(MorvValue *rtn, MorvValue *args, int count);

/* ---- Selection */

/* Selected rows and columns of the Kronecker product of a and b.
 *   0 matrix a       r1 x c1
 *   1 matrix b       r2 x c2
 *   2 matrix rowSel  zero-based rows to keep, in any order and repeated at will, truncated toward zero; empty: all
 *   3 matrix colSel  columns to keep, likewise
 * rtn: one row for each cell of rowSel (or r1 r2), one column for each cell of colSel (or c1 c2). rtn is untouched when
 * a cell lies outside the product. */
MORV_API void FnKroneckerSel(MorvValue *rtn, MorvValue *args, int count);

/* ---- Tests and long memory */

/* COMFAC: Wald tests of r common factors in the lag polynomials of an equation with lags.
 *   0 matrix  identity   of each term's variable; its cells are the nC terms, the dependent variable at lag 0 included
 *   1 matrix  lag        nC cells
 *   2 matrix  exclusion  nC cells; 1 leaves the term out. Not looked at for the dependent variable
 *   3 matrix  b          nC - 1 coefficients: of the dependent variable's lags, in the order of the list, and then of
 *                        the other terms, in the order of the list
 *   4 matrix  cov        (nC - 1) x (nC - 1), their covariance matrix
 *   5 double  scale      factor on cov
 *   6 integer            identity of the dependent variable
 *   7 output  1 x nOut: the statistics for r = nOut, ..., 1, nOut the smallest number of lags of a variable
 *   8 output  1 x nOut: their degrees of freedom, r (variables - 1)
 * Identities, lags and flags are truncated to integers.
 * rtn (integer): 0, or a status that leaves both outputs 1 x 0: 1 when a variable's lags from 0 on are not complete, or
 * in part excluded, or a term occurs twice; 2 when a variable has lag 0 alone; 3 with fewer than two variables; 4 when
 * a covariance matrix of restrictions is singular or a statistic is negative or missing; -1 without memory. -1 with
 * the outputs untouched when nC is below 1 or another argument has fewer cells than told.
 * Sargan, J.D. (1980), Econometrica 48. */
MORV_API void FnComfac(MorvValue *rtn, MorvValue *args, int count);

/* Encompassing tests of two non-nested models of one dependent variable, both estimated by instrumental variables on
 * the union of their instruments.
 *   0 matrix  model 1  (nY + nX + nZ) x T, a variable a row: the dependent variable, nY - 1 endogenous regressors, nX
 *                      exogenous regressors, nZ additional instruments
 *   1 integer nY  2 integer nX  3 integer nZ   of model 1
 *   4 matrix  model 2, likewise
 *   5 integer nY  6 integer nX  7 integer nZ   of model 2
 *   8 output  1 x 11: for model 1 and model 2 in turn Sargan's statistic (0, 1), Cox's against the other model (2, 3),
 *             F against the joint model (4, 5), the contrast of the instrumental variable estimates with the other
 *             model (6, 7), and the equation standard errors (8, 9; 10 of the joint model); missing with a status
 *             other than 0
 *   9 output  1 x n: of each instrument of the union its place among those of model 1 followed by those of model 2
 *  10 output  integer: the number of regressors of the joint model
 * Variables of the two models are the same when all observations are equal; one with a missing value is equal to none.
 * rtn (integer): 0; 1 when the joint model has fewer instruments than regressors; 2 when the models are nested; 3 when
 * a moment matrix is singular; 4 when a variance, or a difference of variances, is not positive; 5 without memory.
 * Outputs 9 and 10 are written with status 0 alone. -1 with all outputs untouched when a model has no dependent
 * variable, a negative count or fewer rows than its counts tell, or the numbers of columns differ or are 0.
 * Ericsson, N.R. (1983), Review of Economic Studies 50. */
MORV_API void FnEncompassing(MorvValue *rtn, MorvValue *args, int count);

/* Exact autocovariances of a stationary fractionally integrated ARMA process,
 * (1 - phi_1 L - ...) (1 - L)^d y = (1 + theta_1 L + ...) e.
 *   0 matrix  1 x (1 + p + q) at least: d, phi, theta
 *   1 integer p        2 integer q
 *   3 double  sigma2   variance of e
 *   4 integer n
 *   5 output  1 x n: the autocovariances at lags 0 to n - 1
 * Stationary means d below 0.5, which is left to the caller. With p above 0 a d of exactly 0 gives values that are not
 * finite: pass 1e-20 for an ARMA process. The series of a root of modulus above 0.997 ends early, with a warning on the
 * standard output.
 * rtn (integer): 0, or a status that leaves cells without use: 1 |d| above 5; 2 sigma2 at or below 0.0001; 4 an
 * autoregressive root (inverse) of modulus at or above 0.9999; 6 no roots found; 7 roots too near to each other; 10
 * without memory, or when n is 0. 10 with the output untouched when p, q or n is negative. A matrix of another shape is
 * refused. Sowell, F. (1992), Journal of Econometrics 53. */
MORV_API void FnFracSigma(MorvValue *rtn, MorvValue *args, int count);

#ifdef __cplusplus
}
#endif

#endif
