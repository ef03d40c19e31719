# %% [markdown]
# # Pressure drop in a pipe
#
# Measurements of the pressure drop (kPa) of water in smooth pipes: length L (m), diameter D (cm),
# velocity v (m/s). Blasius' law says that it grows with L v^1.75 / D^1.25; here it has to be found.

# %%
import matplotlib.pyplot as plt
import numpy as np
from sklearn.model_selection import GridSearchCV, train_test_split

from torve import TorveRegressor

rng = np.random.default_rng(0)
X = np.column_stack([rng.uniform(1, 20, 120), rng.uniform(1, 10, 120), rng.uniform(0.3, 3, 120)])
true = 1.58 * X[:, 0] * X[:, 2] ** 1.75 / X[:, 1] ** 1.25
y = true * (1 + 0.02 * rng.standard_normal(120))
X_train, X_test, y_train, y_test = train_test_split(X, y, random_state=0)

# %% [markdown]
# A power law is a sum in logarithms: the model is made for the logarithm of the pressure drop, and
# the candidates are the inputs and their logarithms.

# %%
base = TorveRegressor(
    xlabels=["L", "D", "v"],
    zlabels=["drop"],
    transforms={"lndrop": "log(drop)"},
    ignore=["drop"],
    logfcns=True,
)
search = GridSearchCV(base, {"modeler": ["BIC", "AICc", "HQC"], "sinfcns": [False, True]}, cv=5)
search.fit(X_train, y_train)
model = search.best_estimator_
print(model.model_)
print("exponents", dict(zip(model.terms_, np.round(model.coef_, 3))))
print("R2 on the test set", round(model.score(X_test, y_test), 5))

# %%
model  # in a notebook: a table of the terms

# %% [markdown]
# Measured and computed values should lie on the diagonal.

# %%
figure, axes = plt.subplots(figsize=(4, 4))
for points, values, label in ((X_train, y_train, "training"), (X_test, y_test, "test")):
    axes.loglog(values, np.exp(model.predict(points)), ".", label=label)
low, high = y.min(), y.max()
axes.plot([low, high], [low, high], "k-", linewidth=0.5)
axes.set(xlabel="measured (kPa)", ylabel="model (kPa)", title="Pressure drop")
axes.legend()
figure.tight_layout()
figure.savefig("parity.png", dpi=120)
