"""Small algebraic models from data: the calls of TORVE, and an estimator for scikit-learn.

>>> from torve import TorveRegressor
>>> model = TorveRegressor(logfcns=True).fit([[1.0], [2.0], [4.0], [8.0]], [0.0, 1.0, 2.0, 3.0])
>>> model.terms_
['ln(X1)']
"""

from . import calls
from ._errors import TorveError
from ._regressor import TorveRegressor

__version__ = ".".join(map(str, calls.trvgetversion()))

__all__ = ["TorveError", "TorveRegressor", "__version__", "calls"]
