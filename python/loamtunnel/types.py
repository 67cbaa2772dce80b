"""All types of the model by their short names: `from loamtunnel.types import LifAppConfig, VtAppId`.

They are those that the package ships, until another schema is loaded, as by `connect(..., schema="peer")`; from then on what is
imported is what that one tells. A nested type has an underscore where the model has `::`, as in `AradIvecFormat_TagsToRemoveOption`.
"""

from . import schema, values

__all__ = schema.short_names()


@schema.forgets
def _forget(changed: set[str]) -> None:
    for name in __all__:
        globals().pop(name, None)
    __all__[:] = schema.short_names()


def __getattr__(name: str):
    if name.startswith("__"):
        raise AttributeError(name)
    try:
        type_ = schema.of_short(name)
    except KeyError as fault:
        raise AttributeError(fault.args[0]) from None
    made = values.python_type(type_.name)
    globals()[name] = made
    return made


def __dir__() -> list[str]:
    return __all__
