from types import SimpleNamespace

from . import called


def trust_state_for(folder):
    return called("trust_state_for", lambda _: SimpleNamespace(state="trusted"), folder)
