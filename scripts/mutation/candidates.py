"""Every mutant that the sources offer: what Clang's parser sees, and the text that would stand there instead.

A mutant is a change of one place, of one of these kinds:

  arithmetic   + - * / % exchanged, ++ for --, a minus left out
  comparison   == for !=, < <= > >= moved by one or turned round
  logic        && for ||, one operand alone, a ! left out
  bit          & for |, ^ for &, << for >>, a ~ left out
  constant     a number, a character, a named constant or an enumerator one up, a number also one down; true for false
  condition    the condition of if, while and ?: negated
  removal      a statement left out: a call, an assignment, a log line, break, continue, an early return
  swap         two neighbouring statements in the other order
  result       another value returned: the flag negated, 0 for a number and 1 for 0, null, an empty object

Most are switched at run time. What the compiler must know when it compiles (constexpr, case labels, enumerators, sizes of
arrays, integers at namespace scope) is compiled once for each mutant, and so is what stands in a constexpr function that no
program calls at run time. Left out, and counted: texts, floating point, what static_assert says, the bodies of macros. Left out
for what they are: sizeof, attributes, and a change that another kind makes already. A change that can change nothing, as a swap
of two statements that do not touch each other, is drawn like any other: it survives and counts.
"""

import ctypes
import re
from dataclasses import dataclass, field, replace

from clang.cindex import CursorKind as K
from clang.cindex import File, Index, TranslationUnit, TypeKind, c_object_p, conf

ARITHMETIC = {"+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["*"],
              "+=": ["-="], "-=": ["+="], "*=": ["/="], "/=": ["*="], "%=": ["*="]}
COMPARISON = {"==": ["!="], "!=": ["=="], "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"]}
BIT = {"&": ["|"], "|": ["&"], "^": ["&"], "<<": [">>"], ">>": ["<<"],
       "&=": ["|="], "|=": ["&="], "^=": ["&="], "<<=": [">>="], ">>=": ["<<="]}
INTEGERS = {TypeKind.BOOL, TypeKind.CHAR_U, TypeKind.CHAR_S, TypeKind.UCHAR, TypeKind.SCHAR, TypeKind.USHORT, TypeKind.SHORT,
            TypeKind.UINT, TypeKind.INT, TypeKind.ULONG, TypeKind.LONG, TypeKind.ULONGLONG, TypeKind.LONGLONG, TypeKind.ENUM}
FUNCTIONS = {K.FUNCTION_DECL, K.CXX_METHOD, K.CONSTRUCTOR, K.DESTRUCTOR, K.FUNCTION_TEMPLATE, K.CONVERSION_FUNCTION}
LOOPS = {K.FOR_STMT, K.WHILE_STMT, K.DO_STMT, K.CXX_FOR_RANGE_STMT}
# What is a statement of its own and may change places with its neighbour.
SELF_CONTAINED = LOOPS | {K.IF_STMT}


# Stands in an inserted text where the question "is this mutant switched on?" goes.
ON = "\0on\0"


@dataclass
class Mutant:
    """One change. The places are offsets in the file."""
    file: str
    line: int
    kind: str
    was: str
    becomes: str
    start: int
    end: int
    insertions: list = field(default_factory=list)  # (start, text before, end, text behind): switched at run time

    fixed: bool = False                             # the compiler must know it
    constexpr: bool = False                         # in a constexpr function, which may also run in the compiler
    declares: str = ""                              # the constant whose value it is a part of
    module: str = ""

    @property
    def key(self):
        return f"{self.file}:{self.start}:{self.end}:{self.kind}:{self.becomes}"


def without_comments(text):
    """The text with blanks for comments; literals stay."""
    token = re.compile(r'//[^\n]*|/\*.*?\*/|R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])+\'', re.S)
    return token.sub(lambda m: re.sub(r"[^\n]", " ", m[0]) if m[0].startswith("/") else m[0], text)


def one_line(text):
    return re.sub(r"\s*\n\s*", " ", without_comments(text)).strip()


def place(location):
    """File and offset of a location; of an argument of a macro the place where it is written."""
    file, line, column, offset = c_object_p(), ctypes.c_uint(), ctypes.c_uint(), ctypes.c_uint()
    conf.lib.clang_getFileLocation(location, ctypes.byref(file), ctypes.byref(line), ctypes.byref(column),
                                   ctypes.byref(offset))
    name = File(file).name if file else None
    return name, offset.value


@dataclass
class Context:
    function: object = None
    constexpr: bool = False  # in a constexpr function
    fixed: bool = False      # the compiler must know the value
    in_lambda: bool = False
    declares: str = ""       # the constant that is being given its value


class Finder:
    """Collects the mutants of one translation unit, those of the headers too."""

    def __init__(self, texts, found, left_out):
        self.texts = texts          # path -> source
        self.found = found          # key -> Mutant
        self.left_out = left_out    # reason -> set of places
        self.macros = {}            # path -> {start: end}

    def run(self, path, arguments):
        unit = Index.create().parse(path, args=arguments, options=TranslationUnit.PARSE_DETAILED_PROCESSING_RECORD)
        errors = [d for d in unit.diagnostics if d.severity >= 3]
        if errors:
            raise SystemExit(f"error: Clang's parser does not understand {path}: {errors[0]}")
        top = []
        for cursor in unit.cursor.get_children():
            file, start = place(cursor.extent.start)
            if file not in self.texts:
                continue
            if cursor.kind == K.MACRO_INSTANTIATION:
                self.macros.setdefault(file, {})[start] = max(place(cursor.extent.end)[1],
                                                              self.macros.get(file, {}).get(start, 0))
            elif cursor.kind == K.MACRO_DEFINITION:
                body = one_line(self.texts[file][start:place(cursor.extent.end)[1]].replace("\\\n", " "))
                if " " in body:
                    self.left_out.setdefault("bodies of macros", set()).add((file, start))
            elif cursor.kind.is_declaration() or cursor.kind == K.UNEXPOSED_DECL:
                top.append(cursor)
        for cursor in top:
            self.visit(cursor, None, Context())

    # --- where things lie

    def span(self, cursor):
        file, start = place(cursor.extent.start)
        other, end = place(cursor.extent.end)
        return (file, start, end) if file == other and file in self.texts and end >= start else (None, 0, 0)

    def text(self, cursor):
        file, start, end = self.span(cursor)
        return self.texts[file][start:end] if file else ""

    def of_macro(self, cursor):
        """Whether the node is of a macro's body, not written here."""
        file, start, end = self.span(cursor)
        return file is None or start == end or self.macros.get(file, {}).get(start, -1) >= end

    def statement_end(self, cursor):
        """Behind the statement's semicolon or brace; None when it is not seen."""
        file, _, end = self.span(cursor)
        if file is None:
            return None
        if self.texts[file][end - 1:end] in (";", "}"):
            return end
        rest = without_comments(self.texts[file][end:end + 400])
        blanks = len(rest) - len(rest.lstrip())
        return end + blanks + 1 if rest.lstrip().startswith(";") else None

    # --- making mutants

    def add(self, kind, cursor_or_span, becomes, context, insertions=None, was=None):
        file, start, end = cursor_or_span if isinstance(cursor_or_span, tuple) else self.span(cursor_or_span)
        if file is None:
            return
        original = one_line(self.texts[file][start:end])
        if insertions is None:
            insertions = [(start, f"({ON} ? ({becomes}) : (", end, "))")]
        mutant = Mutant(file, self.texts[file].count("\n", 0, start) + 1, kind, was or original, becomes, start, end,
                        insertions, context.fixed, context.constexpr, context.declares)
        self.found.setdefault(mutant.key, mutant)

    # --- the walk

    def visit(self, cursor, parent, context):
        kind = cursor.kind
        if kind == K.STATIC_ASSERT:
            self.left_out.setdefault("static_assert", set()).add(self.span(cursor))
            return
        if kind in (K.STRING_LITERAL, K.FLOATING_LITERAL):
            if not self.of_macro(cursor):
                self.left_out.setdefault("texts and floating point", set()).add(self.span(cursor))
            return
        if kind == K.CXX_UNARY_EXPR:
            return  # sizeof and its like: what they name is not evaluated
        if kind in (K.ANNOTATE_ATTR, K.ASM_LABEL_ATTR, K.PACKED_ATTR, K.VISIBILITY_ATTR, K.UNEXPOSED_ATTR):
            return

        children = list(cursor.get_children())
        if not self.of_macro(cursor):
            self.operators(cursor, children, context)
            self.constants(cursor, parent, context)
            self.conditions(cursor, children, context)
            self.results(cursor, children, context)
        self.removals(cursor, parent, children, context)
        if kind == K.COMPOUND_STMT:
            self.swaps(children, context)

        inner = context
        if kind in FUNCTIONS:
            inner = Context(cursor, self.is_constexpr(cursor))
        elif kind == K.LAMBDA_EXPR:
            inner = replace(context, in_lambda=True)
        for index, child in enumerate(children):
            self.visit(child, cursor, self.context_of(child, index, cursor, inner))

    def is_constexpr(self, cursor):
        head = re.split(r"[{;]", self.text(cursor), maxsplit=1)[0]
        return re.search(r"\bconstexpr\b", head) is not None

    def context_of(self, child, index, parent, context):
        """The context of a child; `fixed` where its value is needed by the compiler."""
        fixed, declares = context.fixed, context.declares
        if parent.kind in (K.ENUM_CONSTANT_DECL, K.VAR_DECL) and context.function is None:
            declares = parent.spelling
        if parent.kind == K.ENUM_CONSTANT_DECL or (parent.kind == K.CASE_STMT and index == 0):
            fixed = True
        elif parent.kind == K.VAR_DECL:
            file, start, _ = self.span(child)
            bracket = file is not None and self.texts[file][:start].rstrip().endswith("[")
            at_namespace_scope = context.function is None and self.is_plain_constant(parent)
            fixed = fixed or bracket or at_namespace_scope or self.is_constexpr(parent)
        elif parent.kind == K.FIELD_DECL:
            file, start, _ = self.span(child)
            fixed = fixed or (file is not None and self.texts[file][:start].rstrip().endswith("["))
        elif parent.kind == K.PARM_DECL:
            fixed = True
        elif parent.kind == K.IF_STMT and index == 0 and re.match(r"if\s+constexpr\b", self.text(parent)):
            fixed = True
        return replace(context, fixed=fixed, declares=declares)

    @staticmethod
    def is_plain_constant(variable):
        return variable.type.is_const_qualified() and variable.type.get_canonical().kind in INTEGERS

    # --- the kinds

    def operators(self, cursor, children, context):
        file, start, end = self.span(cursor)
        text = self.texts[file]
        if cursor.kind in (K.BINARY_OPERATOR, K.COMPOUND_ASSIGNMENT_OPERATOR) and len(children) == 2:
            (lfile, _, left_end), (rfile, right_start, _) = self.span(children[0]), self.span(children[1])
            if lfile != file or rfile != file or left_end > right_start:
                return
            operator = without_comments(text[left_end:right_start]).strip()
            left, right = one_line(text[start:left_end]), one_line(text[right_start:end])
            for kind, table in (("arithmetic", ARITHMETIC), ("comparison", COMPARISON), ("bit", BIT)):
                for other in table.get(operator, []):
                    self.add(kind, cursor, f"{left} {other} {right}", context)
            if operator in ("&&", "||"):
                self.add("logic", cursor, f"({left}) {'||' if operator == '&&' else '&&'} ({right})", context)
                self.add("logic", cursor, f"static_cast<bool>({left})", context)
                self.add("logic", cursor, f"static_cast<bool>({right})", context)
        elif cursor.kind == K.UNARY_OPERATOR and children:
            _, operand_start, operand_end = self.span(children[0])
            before, behind = text[start:operand_start].strip(), text[operand_end:end].strip()
            operand = one_line(text[operand_start:operand_end])
            if before in ("++", "--"):
                self.add("arithmetic", cursor, ("--" if before == "++" else "++") + operand, context)
            elif behind in ("++", "--"):
                self.add("arithmetic", cursor, operand + ("--" if behind == "++" else "++"), context)
            elif before == "!":
                self.add("logic", cursor, f"static_cast<bool>({operand})", context)
            elif before == "-":
                self.add("arithmetic", cursor, operand, context)
            elif before == "~":
                self.add("bit", cursor, operand, context)

    def constants(self, cursor, parent, context):
        text = self.text(cursor)
        if cursor.kind == K.INTEGER_LITERAL:
            number = re.fullmatch(r"(0[xX][0-9a-fA-F]+|\d+)([uUlL]*)", text)
            if number:
                value = int(number[1], 0)
                form = "{:#x}" if number[1][:2] in ("0x", "0X") else "{}"
                for other in (value + 1, value - 1):
                    if 0 <= other < 1 << 32:
                        self.add("constant", cursor, form.format(other) + number[2], context)
        elif cursor.kind == K.CXX_BOOL_LITERAL_EXPR and text in ("true", "false"):
            self.add("constant", cursor, "false" if text == "true" else "true", context)
        elif cursor.kind == K.CHARACTER_LITERAL and text.startswith("'"):
            self.add("constant", cursor, f"static_cast<char>({text} + 1)", context)
        elif cursor.kind == K.DECL_REF_EXPR and re.fullmatch(r"[\w:]+", text):
            if self.names_constant(cursor):
                self.add("constant", cursor, f"static_cast<decltype({text})>(static_cast<long long>({text}) + 1)", context,
                         was=text)

    def names_constant(self, cursor):
        named = cursor.referenced
        if named is None:
            return False
        return named.kind == K.ENUM_CONSTANT_DECL or (
            named.kind == K.VAR_DECL and self.is_plain_constant(named) and self.is_constexpr(named))

    @staticmethod
    def is_comparison(text):
        """One comparison or one negation, whose opposite the operators already make."""
        if re.search(r"&&|\|\||\?", text):
            return False
        return re.search(r" (==|!=|<|>|<=|>=) ", text) is not None or text.startswith("!")

    def conditions(self, cursor, children, context):
        if cursor.kind not in (K.IF_STMT, K.WHILE_STMT, K.CONDITIONAL_OPERATOR) or not children:
            return
        condition = children[0]
        if not condition.kind.is_expression() or self.of_macro(condition):
            return
        if cursor.kind == K.IF_STMT and re.match(r"if\s+constexpr\b", self.text(cursor)):
            context = replace(context, fixed=True)
        text = one_line(self.text(condition))
        if self.is_comparison(text):
            return
        file, start, end = self.span(condition)
        self.add("condition", condition, f"!({text})", context,
                 [(start, f"({ON} ? !({text}) : static_cast<bool>(", end, "))")])

    def results(self, cursor, children, context):
        if cursor.kind != K.RETURN_STMT or not children or context.function is None:
            return
        if context.in_lambda:
            self.left_out.setdefault("results of lambdas", set()).add(self.span(cursor))
            return
        value = one_line(self.text(children[0]))
        file, start, _ = self.span(cursor)
        end = self.statement_end(cursor)
        if end is None or self.is_constant(children[0]) or re.fullmatch(r"[\w:]*(\(\)|\{\})", value) and (
                context.function.result_type.get_canonical().kind == TypeKind.RECORD and not self.calls_function(children[0])):
            return  # a constant has mutants of its own; an empty object would be the same object
        result = context.function.result_type
        kind = result.get_canonical().kind
        if kind == TypeKind.BOOL:
            if self.is_comparison(value):
                return
            other = f"!({value})"
        elif kind in INTEGERS:
            other = f"static_cast<{result.spelling}>(({value}) == 0 ? 1 : 0)"
        elif kind == TypeKind.POINTER:
            other = "nullptr"
        elif kind in (TypeKind.LVALUEREFERENCE, TypeKind.RVALUEREFERENCE):
            self.left_out.setdefault("results that are references", set()).add(self.span(cursor))
            return
        else:
            other = "{}"
        self.add("result", (file, start, end), f"return {other};", context,
                 [(start, f"{{ if ({ON}) return {other}; ", end, " }")])

    def unwrapped(self, cursor):
        """The node below those that the compiler adds and nobody writes."""
        while cursor.kind == K.UNEXPOSED_EXPR:
            children = list(cursor.get_children())
            if len(children) != 1 or self.span(children[0]) != self.span(cursor):
                break
            cursor = children[0]
        return cursor

    def is_constant(self, cursor):
        cursor = self.unwrapped(cursor)
        if cursor.kind == K.DECL_REF_EXPR:
            return self.names_constant(cursor)
        return cursor.kind in (K.INTEGER_LITERAL, K.CXX_BOOL_LITERAL_EXPR, K.CXX_NULL_PTR_LITERAL_EXPR, K.CHARACTER_LITERAL)

    def calls_function(self, cursor):
        """A call, not the making of an object."""
        cursor = self.unwrapped(cursor)
        named = cursor.referenced
        return cursor.kind == K.CALL_EXPR and named is not None and named.kind not in (K.CONSTRUCTOR, K.CLASS_DECL)

    def statements_of(self, cursor, children):
        """The children that stand as statements."""
        if cursor.kind == K.COMPOUND_STMT:
            return children
        if cursor.kind == K.IF_STMT:
            return children[1:]
        if (cursor.kind in LOOPS and not self.of_macro(cursor)) or cursor.kind in (K.CASE_STMT, K.DEFAULT_STMT):
            return children[-1:]
        return []

    def is_macro_statement(self, cursor):
        file, start, end = self.span(cursor)
        return (cursor.kind == K.DO_STMT and file is not None and self.macros.get(file, {}).get(start) == end)

    def is_only_branch(self, branch, chooser):
        file, start, end = self.span(branch)
        return end == self.span(chooser)[2] and not self.texts[file][:start].rstrip().endswith("else")

    def removals(self, cursor, parent, children, context):
        for child in self.statements_of(cursor, children):
            file, start, _ = self.span(child)
            end = self.statement_end(child)
            if file is None or end is None or self.of_macro(cursor):
                continue
            if self.is_macro_statement(child) or child.kind in (K.BREAK_STMT, K.CONTINUE_STMT):
                pass
            elif self.of_macro(child):
                continue
            elif child.kind == K.RETURN_STMT:
                # Only an early one, of an `if` without `else`: without the last one there would be no result at all.
                branch, chooser = (cursor, parent) if cursor.kind == K.COMPOUND_STMT else (child, cursor)
                if chooser is None or chooser.kind != K.IF_STMT or not self.is_only_branch(branch, chooser):
                    continue
            elif not child.kind.is_expression():
                continue
            self.add("removal", (file, start, end), ";", context, [(start, f"{{ if (!{ON}) ", end, " }")])

    def swaps(self, children, context):
        for first, second in zip(children, children[1:]):
            if not all(self.may_move(child) for child in (first, second)):
                continue
            (file, start, _), (_, second_start, _) = self.span(first), self.span(second)
            first_end, end = self.statement_end(first), self.statement_end(second)
            if file is None or first_end is None or end is None:
                continue
            copy = one_line(self.texts[file][second_start:end])
            moved = copy + " " + one_line(self.texts[file][start:first_end])
            # A copy of the second in front of the first, and the second only while the mutant is off: so a statement may be
            # part of a swap with either neighbour.
            self.add("swap", (file, start, end), moved, context,
                     [(start, f"{{ if ({ON}) {{ {copy} }} }} ", start, ""), (second_start, f"{{ if (!{ON}) ", end, " }")])

    def may_move(self, cursor):
        if self.is_macro_statement(cursor):
            return True
        if self.of_macro(cursor):
            return False
        return cursor.kind.is_expression() or cursor.kind in SELF_CONTAINED
