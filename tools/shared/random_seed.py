"""The seed of what is drawn at random, which the environment may give: KELVANE_SEED, a number or "new"."""

import os
import random


def random_seed(default="new"):
    wished = os.environ.get("KELVANE_SEED", default)
    return random.SystemRandom().randrange(2**32) if wished == "new" else int(wished)
