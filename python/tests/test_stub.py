"""The type stub declares what the package has: every name it declares
imports, every public name of the package is declared, and the signatures
of the declared functions take the same parameters as the real ones."""

import ast
import inspect
import pathlib

import lxbase

STUB = pathlib.Path(lxbase.__file__).with_name("__init__.pyi")


def declarations():
    tree = ast.parse(STUB.read_text())
    names = {}
    for node in tree.body:
        if isinstance(node, (ast.FunctionDef, ast.ClassDef)):
            names[node.name] = node
        elif isinstance(node, ast.AnnAssign) and isinstance(node.target, ast.Name):
            names[node.target.id] = node
    return names


def parameters(function):
    a = function.args
    return [p.arg for p in a.posonlyargs + a.args + a.kwonlyargs if p.arg != "self"]


def accepts(function, parameter):
    """Whether function takes the named parameter: from its signature for
    Python functions, from the signature line pybind11 writes otherwise."""
    try:
        signature = inspect.signature(function)
    except (TypeError, ValueError):
        return f"{parameter}:" in function.__doc__
    kinds = [p.kind for p in signature.parameters.values()]
    return parameter in signature.parameters or inspect.Parameter.VAR_KEYWORD in kinds


def test_stub_matches_package():
    declared = declarations()
    declared.pop("ArrayLike", None)
    for name in declared:
        assert hasattr(lxbase, name), f"the stub declares {name}, which lxbase lacks"
    assert set(lxbase.__all__) <= set(declared), set(lxbase.__all__) - set(declared)
    for name, node in declared.items():
        if isinstance(node, ast.FunctionDef):
            assert ast.get_docstring(node), f"{name} has no docstring in the stub"
            for parameter in parameters(node):
                assert accepts(getattr(lxbase, name), parameter), f"{name} has no parameter {parameter}"
        if isinstance(node, ast.ClassDef):
            real = getattr(lxbase, name)
            for member in node.body:
                if isinstance(member, ast.FunctionDef) and not member.name.startswith("__"):
                    assert hasattr(real, member.name), f"{name}.{member.name} is declared but missing"
