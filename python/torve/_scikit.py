"""What scikit-learn has by other names in other versions."""

from __future__ import annotations

from typing import Any

import numpy as np
from sklearn.utils import check_array

try:
    from sklearn.utils.validation import validate_data as _validate_data
except ImportError:  # before 1.6

    def _validate_data(estimator: Any, *arguments: Any, **options: Any) -> Any:
        return estimator._validate_data(*arguments, **options)


def validate(estimator: Any, *arguments: Any, **options: Any) -> Any:
    """Check X, or X and y, and remember or compare the features, as scikit-learn does."""
    return _validate_data(estimator, *arguments, dtype=np.float64, **options)


def finite_or_missing(values: Any, name: str) -> np.ndarray:
    """Return outputs of which some may be NaN."""
    options: dict[str, Any] = {"ensure_2d": False, "dtype": np.float64, "input_name": name}
    try:
        array: np.ndarray = check_array(values, ensure_all_finite="allow-nan", **options)
    except TypeError:  # before 1.6
        array = check_array(values, force_all_finite="allow-nan", **options)
    return array
