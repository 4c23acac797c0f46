"""Changes that need not be tried: what they are made of says that they mean the same, or do not build."""

import re

from clang.cindex import CursorKind as C, TypeKind as T

FUNCTIONS = {
    C.FUNCTION_DECL, C.CXX_METHOD, C.CONSTRUCTOR, C.DESTRUCTOR, C.FUNCTION_TEMPLATE, C.CONVERSION_FUNCTION,
}
# A check_... hands on what the host answers, which is any number for yes.
QUESTION = re.compile(r"(?!check_)((is|has|use)_\w+|isdir|\w+_is_\w+|\w+_exists?)")
HOST_HEADERS = "/platform/"
COMPARES = re.compile(r"(mem|str|strn|strcase|strncase)cmp")
OF_MANY_ANSWERS = re.compile(r"\w*cmp|system")  # on both sides of 0
SYSTEM_HEADERS = "/usr/include/"
# What a plain declaration and a plain assignment do not do: change something else, or read what others may change.
NOT_PLAIN = {
    C.ARRAY_SUBSCRIPT_EXPR, C.CXX_NEW_EXPR, C.CXX_DELETE_EXPR, C.CXX_THROW_EXPR, C.LAMBDA_EXPR,
    C.COMPOUND_ASSIGNMENT_OPERATOR, C.StmtExpr,
}


def inner(cursor):
    """Without casts and parentheses."""
    while cursor.kind in (C.UNEXPOSED_EXPR, C.PAREN_EXPR) and len(list(cursor.get_children())) == 1:
        cursor = next(cursor.get_children())
    return cursor


def is_yes_or_no(left, right):
    """A call of the library that answers 0 or 1, or one of the system that answers 0 or -1, is compared with that:
    being more or less is either the same as being another one, or always true or never, which is tried anyway."""
    call, number = inner(left), [token.spelling for token in right.get_tokens()]
    if call.kind != C.CALL_EXPR or call.referenced is None or number not in (["0"], ["1"]):
        return False
    header = call.referenced.location.file.name if call.referenced.location.file else ""
    if header.startswith(SYSTEM_HEADERS):
        return number == ["0"] and not OF_MANY_ANSWERS.fullmatch(call.spelling)
    return QUESTION.fullmatch(call.spelling) is not None and HOST_HEADERS not in header


def call_for_equality(left, right):
    """The comparison of texts or bytes that is asked for equality alone: its arguments have no order."""
    call = inner(left)
    if call.kind == C.CALL_EXPR and COMPARES.fullmatch(call.spelling):
        return call if [token.spelling for token in right.get_tokens()] == ["0"] else None
    return None


# --- the order of two neighbouring statements ---


def swap_is_needless(one, other):
    """One uses what the other declares, so that they can stand in this order only; or one is a plain declaration or
    both are plain assignments, and neither touches what the other does."""
    if declared(one) & mentioned(other):
        return True
    if any(is_apart(plain, beside) for plain, beside in ((one, other), (other, one)) if is_plain_declaration(plain)):
        return True
    return is_plain_assignment(one) and is_plain_assignment(other) and \
        not {target(one)} & mentioned(other) and not {target(other)} & mentioned(one)


def declared(statement):
    return {child.get_usr() or child.hash for child in declarations(statement)}


def declarations(statement):
    children = list(statement.get_children()) if statement.kind == C.DECL_STMT else []
    return [child for child in children if child.kind == C.VAR_DECL]


def mentioned(statement):
    """Variables and fields."""
    found = [node.referenced for node in statement.walk_preorder()
             if node.kind in (C.DECL_REF_EXPR, C.MEMBER_REF_EXPR) and node.referenced is not None]
    return {target.get_usr() or target.hash for target in found if target.kind not in FUNCTIONS}


def is_apart(declaration, other):
    return not mentioned(declaration) & mentioned(other)


def is_plain_declaration(statement):
    """Of local variables whose first values are made of literals, constants and other local variables."""
    variables = declarations(statement)
    return bool(variables) and len(variables) == len(list(statement.get_children())) and \
        all(is_plain(node) and is_out_of_reach(node) for node in statement.walk_preorder())


def is_out_of_reach(node):
    """Nothing changes it that does not mention it: a local variable, a field of one, a constant."""
    if node.kind == C.MEMBER_REF_EXPR:
        base = next(node.get_children(), None)
        return base is not None and base.type.get_canonical().kind != T.POINTER
    if node.kind == C.DECL_REF_EXPR and node.referenced.kind in (C.VAR_DECL, C.PARM_DECL):
        variable = node.referenced
        own = variable.semantic_parent.kind in FUNCTIONS or variable.type.is_const_qualified()
        return own and referred(variable) is None
    return True


def is_plain_assignment(statement):
    """To a variable or a field that is a number, a truth value or a pointer."""
    operands = list(statement.get_children())
    if statement.kind != C.BINARY_OPERATOR or len(operands) != 2 or target(statement) is None:
        return False
    return is_assignment(statement) and all(is_plain(node) for part in operands for node in part.walk_preorder())


def target(assignment):
    left = next(assignment.get_children())
    if left.kind not in (C.DECL_REF_EXPR, C.MEMBER_REF_EXPR) or left.referenced is None:
        return None
    kind = left.type.get_canonical()
    if kind.kind == T.RECORD or kind.is_volatile_qualified() or referred(left.referenced) is not None:
        return None
    return left.referenced.get_usr() or left.referenced.hash


def is_assignment(node):
    left, right = node.get_children()
    between = [token.spelling for token in node.get_tokens()
               if left.extent.end.offset <= token.extent.start.offset < right.extent.start.offset]
    return between[:1] == ["="]


def is_plain(node):
    if node.kind in NOT_PLAIN:
        return False
    if node.kind == C.CALL_EXPR:
        return makes_plainly(node.referenced)
    if node.kind == C.UNARY_OPERATOR:
        return next(node.get_tokens()).spelling in ("-", "!", "~", "+", "&")
    if node.kind == C.BINARY_OPERATOR and len(list(node.get_children())) == 2:
        return True
    if node.kind == C.DECL_REF_EXPR and node.referenced.kind in (C.VAR_DECL, C.PARM_DECL):
        return referred(node.referenced) in (None, T.RECORD)  # whose fields have names of their own
    return True


def makes_plainly(constructor):
    """One that the compiler makes up, or that of a view of a text."""
    if constructor is None or constructor.kind != C.CONSTRUCTOR:
        return False
    owner = constructor.semantic_parent
    return owner.spelling == "basic_string_view" or constructor not in list(owner.get_children())


def referred(variable):
    """What kind of thing a reference refers to."""
    kind = variable.type.get_canonical()
    return kind.get_pointee().kind if kind.kind in (T.LVALUEREFERENCE, T.RVALUEREFERENCE) else None
