"""The classes of rows, one a table, made from the layouts that the package ships. `loamtunnel.rows` has them, too."""

from . import row

__all__ = list(row.ALL)


def __dir__() -> list[str]:
    return __all__


globals().update({name: row.table_class(name) for name in __all__})
