"""The estimator."""

from __future__ import annotations

import os
import sys
import warnings
from collections.abc import Callable, Sequence
from typing import Any, Optional, Union

import numpy as np
from numpy.typing import ArrayLike
from sklearn.base import BaseEstimator, RegressorMixin
from sklearn.exceptions import ConvergenceWarning
from sklearn.metrics import r2_score
from sklearn.utils.validation import check_is_fitted

from . import _assemble, _display, _scikit
from ._formula import formulas
from ._metrics import metrics_of
from ._model import Catalogue, OutputModel, Term
from ._run import Outcome, execute

Flag = Optional[bool]
Whole = Optional[int]
Number = Optional[float]
Text = Optional[str]
Modeler = Union[int, str, None]
Simulator = Union[str, Callable[[np.ndarray], Any], None]
Labels = Optional[Sequence[str]]
Flags = Union[Sequence[bool], Sequence[str], bool, None]
Wholes = Union[Sequence[int], int, None]
Numbers = Union[Sequence[float], np.ndarray, float, None]
Powers = Union[Sequence[float], np.ndarray, float, None]
Formulas = Optional[Sequence[str]]


class TorveRegressor(RegressorMixin, BaseEstimator):
    """Small algebraic models: the best few of many candidate terms, fitted by least squares.

    Every option of the program's problem file that isn't a count of something is a parameter of the
    same name; None leaves the program's default. The program's page on the problem file tells what
    each of them does. Here stand those that are most used, and those that only the estimator has.

    Parameters
    ----------
    xlabels, zlabels : sequence of str, optional
        Names of inputs and outputs. By default the columns of a data frame, else X1, X2 ... and
        Z1, Z2 ... Any text is a name; models show it in backticks if it isn't a word.
    xmin, xmax : float or sequence of float, optional
        Bounds of the inputs, by default those of the data. They decide which powers and logarithms
        are candidates, and where a simulator is asked.
    linfcns, logfcns, expfcns, sinfcns, cosfcns : bool, optional
        Families of candidate terms; only linfcns is on by default.
    monomialpower, multi2power, multi3power, ratiopower : sequence of float, optional
        Powers of inputs, of products of two and three inputs, and of ratios. In the products and
        ratios a power of 1 isn't evaluated while numlimitbasis is on: give it as custom_bases.
    grbfcns, prbfpower, rbfparam : optional
        Radial functions, centred in the data.
    custom_bases : sequence of str, optional
        Formulas over the names of the inputs: ``"x1*x2"``, ``"sqrt(`flow rate`)"``.
    constant : int, optional
        0 leaves the constant term out.
    modeler : int or str, optional
        What to minimise: BIC (the default), Cp, AICc, HQC, MSE, SSEp, RIC, MADp, or 1 to 8.
    maxterms : int or sequence of int, optional
        The most terms of a model.
    screener : int, optional
        1 lasso, 2 sure independence screening.
    ignore, zisint : bool, sequence of bool or of names, optional
        Outputs without a model; outputs that are rounded to whole numbers.
    exclude, xisint : bool, sequence of bool or of names, optional
        Inputs that aren't used.
    transforms : sequence of str, or mapping from names to formulas, optional
        More outputs: formulas over the names of inputs and outputs, like ``{"lny": "log(y)"}``.
    missing_outputs : bool
        NaN in y is a missing value: the point is left out for that output alone.
    groups : mapping from names to lists of members, or sequence of such lists, optional
        A member is a kind of term and its items: ``("lin", "x1", "x2")``, ``("mono", "x1", 2)``,
        ``("cust", 0)``, ``"const"``; -1 stands for all. Kinds: lin, log, exp, sin, cos, mono,
        multi2, multi3, ratio, grbf, prbf, lk, cust, const, grp. Places count from 0.
    group_constraints : sequence of (group, output, rule, parameter), optional
        Rules: nmt (at most so many), atl (at least), req (requires a group), xcl (excludes one).
        Output None stands for all.
    zmin, zmax : float or sequence, optional
        Bounds that the models keep for all inputs between xmin and xmax; None or NaN for no bound.
        Needs a solver.
    custom_constraints : sequence of (output, formula), or of formulas for a single output, optional
        Conditions that the models keep. Needs a solver.
    nbank : int, optional
        The last rows of X and y are a bank that the run takes further points from.
    simulator : str or callable, optional
        Where further points come from: a command, or a function that takes an array of shape
        (n_points, n_inputs) and returns the outputs.
    maxiter : int, optional
        Passes of building models and taking further points.
    maxtime : float, optional
        CPU seconds of a run.
    seed : int, optional
        Start of the random numbers of a run.
    listing : bool or str
        True keeps the text of the program's listing; a name has it written to that file, too. The
        process's current folder changes during such a run.
    scratch : str, optional
        A folder for the files of outside programs, made by the run; by default a temporary one.
    verbose : bool
        Print what the program has to say while it runs.

    Attributes
    ----------
    model_ : str or list of str
        One line of algebra for each modelled output.
    terms_, coef_, intercept_ :
        The chosen terms but the constant, as texts; their coefficients; the constant, 0 without
        one. Lists, and an array of constants, for several outputs.
    metrics_ : dict or list of dict
        Criterion and its value, SSE, RMSE, R2, errors, number of terms, the same for bank and test
        sets; code and message of the run, its time and counts.
    outputs_ : list of str
        Names of the modelled outputs, in the order of what `predict` returns.
    points_, values_ : ndarray of shape (n_points, n_inputs) and (n_points, n_all_outputs)
        The data at the end of the run, with the points that it took on the way; NaN is a missing
        value.
    listing_ : str or None
    screen_ : str
        What the program had to say.
    n_features_in_, feature_names_in_ :
        As in scikit-learn.

    Examples
    --------
    >>> import numpy as np
    >>> X = np.linspace(1, 4, 20)[:, None]
    >>> model = TorveRegressor(monomialpower=[2, 3]).fit(X, 3 * X[:, 0] ** 2 + 1)
    >>> model.terms_
    ['X1^2']
    """

    # A signature of one line a parameter would be three pages long.
    # fmt: off
    def __init__(
        self, *,
        # Inputs
        xlabels: Labels = None, xmin: Numbers = None, xmax: Numbers = None, xscaling: Flag = None,
        xfactors: Numbers = None, exclude: Flags = None, xisint: Flags = None,
        extrapxmin: Numbers = None, extrapxmax: Numbers = None,
        # Outputs
        zlabels: Labels = None, ignore: Flags = None, zisint: Flags = None, zmin: Numbers = None,
        zmax: Numbers = None, transforms: Any = None, missing_outputs: bool = False,
        # Data
        nbank: Whole = None, nsample: Whole = None, initialpoints: Whole = None,
        ntestsample: Wholes = None, preset: Number = None,
        # Basis functions
        linfcns: Flag = None, logfcns: Flag = None, expfcns: Flag = None, sinfcns: Flag = None,
        cosfcns: Flag = None, monomialpower: Powers = None, multi2power: Powers = None,
        multi3power: Powers = None, ratiopower: Powers = None, grbfcns: Flag = None,
        rbfparam: Number = None, prbfpower: Powers = None, linkernel: Flag = None,
        constant: Whole = None, numlimitbasis: Flag = None, otherbasis: Whole = None,
        custom_bases: Formulas = None, groups: Any = None, group_constraints: Any = None,
        # Selection
        modeler: Modeler = None, sigma: Number = None, convpen: Number = None,
        cvxbic: Flag = None, maxterms: Wholes = None, datalimitterms: Flag = None,
        tolmeanerror: Numbers = None, tolrelmetric: Numbers = None, tolabsmetric: Numbers = None,
        tolsse: Number = None, enumall: Whole = None, enum1: Whole = None, builder: Whole = None,
        backstepper: Whole = None, screener: Whole = None, sismult: Number = None,
        npenl: Whole = None, ncvf: Whole = None, lassopath: Flag = None,
        lassometric: Whole = None,
        # Least squares
        olrone: Flag = None, olrdgels: Flag = None, olrclr: Flag = None, olrgsi: Flag = None,
        olrmir: Flag = None, olrgms: Flag = None, gsimaxi: Whole = None, gsiabstol: Number = None,
        gsireltol: Number = None, nulltol: Number = None, scalebases: Flag = None,
        ndgels: Whole = None, usegpu: Flag = None,
        # Output and files
        funform: Whole = None, trace: Flag = None, tracefname: Text = None,
        printextrap: Flag = None, debug: Flag = None, maxtime: Number = None,
        usescratch: Flag = None, removescratch: Flag = None, prfreq: Whole = None,
        chkblnk: Flag = None, listing: bool | str = False, scratch: Text = None,
        verbose: bool = False,
        # Sampling and simulator
        maxiter: Whole = None, initializer: Whole = None, sampler: Whole = None,
        minpoints: Whole = None, maxpoints: Whole = None, tolmaxerror: Numbers = None,
        tolesterror: Number = None, seed: Whole = None, simulator: Simulator = None,
        simin: Text = None, simout: Text = None, maxsim: Whole = None, snobfitp: Number = None,
        snobfitresolution: Number = None, matsnob: Flag = None, snobfitpath: Text = None,
        minqpath: Text = None, objfun: Whole = None,
        # Constrained regression
        crninitial: Whole = None, crmaxiter: Whole = None, crnviol: Whole = None,
        crntrials: Whole = None, crtol: Number = None, crcorner: Flag = None,
        crrobust: Flag = None, custom_constraints: Any = None,
        # Outside solvers
        solvemip: Flag = None, usegams: Flag = None, gams: Text = None, gamssolver: Text = None,
        gamsnlpsolver: Text = None, mipmir: Flag = None, mipgms: Flag = None, crmir: Flag = None,
        crgms: Flag = None, lassomir: Flag = None, lassogms: Flag = None, allowcplex: Flag = None,
        mipoptca: Number = None, mipoptcr: Number = None, scalez: Flag = None,
        relerror: Flag = None, linearerror: Flag = None, sselimit: Flag = None,
        firstfeas: Flag = None, dive: Flag = None, shortcut: Flag = None, deltaterm: Flag = None,
        print_gams_out: Flag = None, print_mirak_out: Flag = None,
        # Free slots
        intopt1: Whole = None, intopt2: Whole = None, intopt3: Whole = None,
        intopt4: Whole = None, intopt5: Whole = None, realopt1: Number = None,
        realopt2: Number = None, realopt3: Number = None, realopt4: Number = None,
        realopt5: Number = None,
    ) -> None:
        # fmt: on
        for name, value in list(locals().items()):
            if name != "self":
                setattr(self, name, value)

    # --- fit --------------------------------------------------------------------------------------

    def fit(
        self,
        X: ArrayLike | None = None,
        y: ArrayLike | None = None,
        *,
        X_bank: ArrayLike | None = None,
        y_bank: ArrayLike | None = None,
        X_test: ArrayLike | None = None,
        y_test: ArrayLike | None = None,
        test_sets: Sequence[tuple[ArrayLike, ArrayLike]] = (),
        X_predict: ArrayLike | None = None,
    ) -> TorveRegressor:
        """Find a model for every output.

        Parameters
        ----------
        X : array-like of shape (n_points, n_inputs)
            With a simulator, xmin and xmax, X and y may be left out: all points are sampled.
        y : array-like of shape (n_points,) or (n_points, n_outputs)
        X_bank, y_bank : array-like, optional
            Further points that the run takes from where models are to be tested.
        X_test, y_test : array-like, optional
            A test set: models are measured on it.
        test_sets : sequence of (X, y), optional
            More test sets.
        X_predict : array-like, optional
            Points at which the listing has the models' values.

        Returns
        -------
        self

        Raises
        ------
        ValueError, TypeError
            Data or parameters can't be used.
        TorveError
            The run ends with a termination code and without models.
        """
        more = _assemble.Sets(X_bank, y_bank, X_test, y_test, test_sets, X_predict)
        data = _assemble.read_data(self, X, y, more)
        problem = _assemble.assemble(self, data)
        outcome = execute(
            problem,
            listing=bool(self.listing),
            scratch=_assemble.scratch_folder(self.scratch),
            echo=_print if self.verbose else None,
        )
        self._keep(outcome, problem.names, data.is_flat)
        return self

    def _keep(self, outcome: Outcome, names: Any, is_flat: bool) -> None:
        results = outcome.results
        self._input_names = names.inputs
        self._catalogue = Catalogue.of(results)
        self._models = [
            _output_model(output, text, name, names)
            for output, text, name in zip(results["outputs"], outcome.models, names.outputs)
            if not output["ignored"]
        ]
        self._modelled = [not output["ignored"] for output in results["outputs"]]
        self._transforms = formulas(results["transforms"])
        self._is_flat = is_flat and len(self._models) == 1
        self.outputs_ = [model.name for model in self._models]
        self.model_ = self._one_or_all([model.text for model in self._models])
        self.terms_ = self._one_or_all([[t.text for t in m.functions] for m in self._models])
        coefficients = [np.array([t.coefficient for t in m.functions]) for m in self._models]
        self.coef_ = self._one_or_all(coefficients)
        constants = np.array([model.constant for model in self._models])
        self.intercept_ = float(constants[0]) if len(constants) == 1 else constants
        self.metrics_ = self._one_or_all(metrics_of(outcome, names.outputs))
        self.points_ = results["x"]
        missing = np.abs(results["z"] - results["preset"]) <= 0.0001
        self.values_ = np.where(missing, np.nan, results["z"])
        self.screen_ = names.shown(outcome.screen)
        self.listing_ = None if outcome.listing is None else names.shown(outcome.listing)
        if isinstance(self.listing, (str, os.PathLike)) and self.listing_ is not None:
            with open(self.listing, "w", encoding="utf-8") as file:
                file.write(self.listing_)
        if outcome.code != 0:
            words = f"termination code {outcome.code}: {outcome.message}"
            warnings.warn(words, ConvergenceWarning, stacklevel=3)

    def _one_or_all(self, values: list[Any]) -> Any:
        return values[0] if len(self._models) == 1 else values

    # --- use --------------------------------------------------------------------------------------

    def predict(self, X: ArrayLike) -> np.ndarray:
        """Return the models' values.

        Parameters
        ----------
        X : array-like of shape (n_points, n_inputs)

        Returns
        -------
        ndarray of shape (n_points,) or (n_points, n_modelled_outputs)
            One-dimensional when y was, and there is one model. NaN where a term can't be evaluated,
            like the logarithm of a negative number.
        """
        check_is_fitted(self)
        points = _scikit.validate(self, X, reset=False)
        values = [model.predict(self._catalogue, points) for model in self._models]
        return values[0] if self._is_flat else np.column_stack(values)

    def transform_outputs(self, X: ArrayLike, y: ArrayLike) -> np.ndarray:
        """Return measured outputs as they are modelled: with transforms, without ignored ones.

        Parameters
        ----------
        X : array-like of shape (n_points, n_inputs)
        y : array-like of shape (n_points,) or (n_points, n_outputs)

        Returns
        -------
        ndarray of the shape that `predict` has
        """
        check_is_fitted(self)
        inputs = _scikit.validate(self, X, reset=False)
        columns = list(inputs.T)
        columns += list(_scikit.finite_or_missing(y, "y").reshape(len(inputs), -1).T)
        for formula in self._transforms:
            columns.append(formula(columns))
        outputs = columns[inputs.shape[1] :]
        wanted = [column for column, is_modelled in zip(outputs, self._modelled) if is_modelled]
        return wanted[0] if self._is_flat else np.column_stack(wanted)

    def score(self, X: ArrayLike, y: ArrayLike, sample_weight: ArrayLike | None = None) -> float:
        """Return the coefficient of determination R2, averaged over the modelled outputs."""
        if not self._transforms and all(self._modelled):
            return float(super().score(X, y, sample_weight))
        measured = self.transform_outputs(X, y)
        return float(r2_score(measured, self.predict(X), sample_weight=sample_weight))

    def get_feature_names_out(self, input_features: Sequence[str] | None = None) -> np.ndarray:
        """Return the chosen terms of all models as texts, each once; the argument is ignored."""
        check_is_fitted(self)
        terms = [term.text for model in self._models for term in model.functions]
        return np.array(list(dict.fromkeys(terms)), dtype=object)

    # --- display ----------------------------------------------------------------------------------

    def to_html(self) -> str:
        """Return the models as an HTML table of coefficients and terms."""
        check_is_fitted(self)
        return _display.html_of(self._models, self.metrics_)

    def to_latex(self) -> str:
        """Return the models as lines of LaTeX, for an aligned environment."""
        check_is_fitted(self)
        return _display.latex_of(self._models, self._catalogue, self._input_names)

    def _repr_html_(self) -> str:
        if hasattr(self, "_models"):
            return self.to_html()
        return str(super()._repr_mimebundle_().get("text/html", repr(self)))

    def _repr_mimebundle_(self, **kwargs: Any) -> dict[str, str]:
        if hasattr(self, "_models"):
            return {"text/plain": repr(self), "text/html": self.to_html()}
        bundle: dict[str, str] = super()._repr_mimebundle_(**kwargs)
        return bundle

    # --- scikit-learn -----------------------------------------------------------------------------

    def __sklearn_is_fitted__(self) -> bool:
        """Tell whether there are models."""
        return hasattr(self, "_models")

    def __sklearn_tags__(self) -> Any:
        """Tell scikit-learn that there may be several outputs."""
        tags = super().__sklearn_tags__()
        tags.target_tags.multi_output = True
        return tags

    def _more_tags(self) -> dict[str, Any]:  # before 1.6
        return {"multioutput": True}


def _print(text: str) -> None:
    sys.stdout.write(text)
    sys.stdout.flush()


def _output_model(output: Any, text: str, name: str, names: Any) -> OutputModel:
    terms = output["terms"] if output["has_model"] else []
    return OutputModel(
        name=name,
        terms=[Term.of(term, names.shown(term["text"].strip())) for term in terms],
        is_whole=output["is_whole"],
        text=names.shown(text),
    )
