"""Finds where faults can be planted in a file, with libclang, and writes the file with all of them as alternatives."""

import dataclasses
import glob
import re
import zlib

from clang import cindex
from clang.cindex import CursorKind as Kind

from tools.mutate import operators

SWITCH = "kelvaneFault"
FUNCTIONS = (Kind.FUNCTION_DECL, Kind.CXX_METHOD, Kind.CONSTRUCTOR, Kind.DESTRUCTOR, Kind.CONVERSION_FUNCTION,
             Kind.FUNCTION_TEMPLATE)
TEMPLATES = (Kind.FUNCTION_TEMPLATE, Kind.CLASS_TEMPLATE, Kind.CLASS_TEMPLATE_PARTIAL_SPECIALIZATION)
SCOPES = (Kind.NAMESPACE, Kind.TRANSLATION_UNIT, Kind.LINKAGE_SPEC)
CLASSES = (Kind.STRUCT_DECL, Kind.CLASS_DECL, Kind.UNION_DECL, Kind.CLASS_TEMPLATE)
LITERALS = {
    Kind.INTEGER_LITERAL: operators.changed_integer, Kind.FLOATING_LITERAL: operators.changed_real,
    Kind.STRING_LITERAL: operators.changed_string, Kind.CHARACTER_LITERAL: operators.changed_character,
    Kind.CXX_BOOL_LITERAL_EXPR: operators.changed_bool,
}
CONDITIONAL = (Kind.IF_STMT, Kind.WHILE_STMT, Kind.CONDITIONAL_OPERATOR)
INTEGERS = (cindex.TypeKind.INT, cindex.TypeKind.UINT, cindex.TypeKind.LONG, cindex.TypeKind.ULONG,
            cindex.TypeKind.LONGLONG, cindex.TypeKind.ULONGLONG, cindex.TypeKind.DOUBLE, cindex.TypeKind.UCHAR,
            cindex.TypeKind.USHORT, cindex.TypeKind.SHORT)
LONGEST_KEY = 70


@dataclasses.dataclass
class Fault:
    file: str
    line: int
    function: str
    start: int
    end: int
    replacement: str
    old: str = ""
    new: str = ""
    number: int = 0
    planted: bool = True
    form: str = "expression"  # or: condition (what it replaces may be no bool), drop, swap, early (than a declaration)

    @property
    def key(self):
        return f"{self.file} | {self.function} | {self.old} -> {self.new}"

    @property
    def part(self):
        """A number that stays the same as long as the fault does."""
        return zlib.crc32(self.key.encode())


@dataclasses.dataclass
class Constant:
    """A constexpr variable of a namespace. It stays, for what has to be constant; the rest calls NAME_kv()."""
    name: str
    start: int
    name_start: int
    end: int
    literal: tuple | None  # the extent of a text that is its whole value


@dataclasses.dataclass
class File:
    name: str
    text: str
    faults: list = dataclasses.field(default_factory=list)
    constants: list = dataclasses.field(default_factory=list)
    references: set = dataclasses.field(default_factory=set)  # extents of names of constants of planted files
    uses: set = dataclasses.field(default_factory=set)        # those constants, by file and place of the name
    linkage: list = dataclasses.field(default_factory=list)   # extents of `inline` that become `static`
    pinned: set = dataclasses.field(default_factory=set)      # constants that no fault is planted in, by name's start


def find_library():
    """The newest libclang, where the one that the Python module names is missing."""
    try:
        return cindex.conf.lib
    except cindex.LibclangError:
        found = sorted(glob.glob("/usr/lib/llvm-*/lib/libclang*.so.1"),
                       key=lambda path: int(re.search(r"llvm-(\d+)", path)[1]))
        if not found:
            raise
        cindex.Config.set_library_file(found[-1])
        return cindex.conf.lib


def squeezed(text):
    return " ".join(re.sub(r"//[^\n]*", "", text).split())


class Finder:
    """Walks over one file of a translation unit."""

    def __init__(self, tops, path, name, planted_files):
        self.path = path
        data = path.read_bytes()
        self.file = File(name, data.decode("ascii"))
        self.text = self.file.text
        self.is_header = name.endswith(".h")
        self.planted_files = planted_files
        self.ancestors = []
        self.function = ""
        self.macros = [self.extent(cursor) for cursor in tops if cursor.kind == Kind.MACRO_INSTANTIATION]
        self.seen = set()
        for cursor in tops:
            if not cursor.kind.is_preprocessing():
                self.visit(cursor, plantable=True)
        self.number_namesakes()

    @staticmethod
    def extent(cursor):
        return cursor.extent.start.offset, cursor.extent.end.offset

    def slice(self, cursor):
        start, end = self.extent(cursor)
        return self.text[start:end]

    def within_macro(self, start, end):
        return any(first < end and start < last and not (start <= first and last <= end)
                   for first, last in self.macros)

    # --- the walk ---

    def visit(self, cursor, plantable):
        if cursor.kind in (Kind.STATIC_ASSERT, Kind.ENUM_DECL, Kind.FIELD_DECL, Kind.PARM_DECL, Kind.CXX_UNARY_EXPR,
                           Kind.TEMPLATE_NON_TYPE_PARAMETER, Kind.TYPEDEF_DECL, Kind.TYPE_ALIAS_DECL):
            plantable = False
        function = self.function
        if cursor.kind in FUNCTIONS:
            plantable = self.enter_function(cursor, plantable)
        elif cursor.kind == Kind.VAR_DECL and not self.function:
            self.function = cursor.spelling
            self.note_constant(cursor)
        self.ancestors.append(cursor)
        if plantable:
            self.note_reference(cursor)
        self.find_in(cursor, plantable)
        for child in cursor.get_children():
            self.visit(child, plantable and not self.must_be_constant(cursor, child))
        self.ancestors.pop()
        self.function = function

    def enter_function(self, cursor, plantable):
        owner = cursor.semantic_parent
        member = owner is not None and owner.kind in CLASSES
        self.function = f"{owner.spelling}::{cursor.spelling}" if member else cursor.spelling
        head = self.text[cursor.extent.start.offset:self.body_start(cursor)]
        if "constexpr" in head or "consteval" in head:
            return False
        if not self.is_header:
            return plantable
        inline = re.match(r"inline\b", head)
        if member or cursor.kind in TEMPLATES or not inline:
            return False
        start = cursor.extent.start.offset
        self.file.linkage.append((start, start + len("inline")))
        return plantable

    @staticmethod
    def body_start(cursor):
        bodies = [child for child in cursor.get_children() if child.kind == Kind.COMPOUND_STMT]
        return bodies[0].extent.start.offset if bodies else cursor.extent.end.offset

    def must_be_constant(self, cursor, child):
        if cursor.kind == Kind.CASE_STMT:
            return child == next(cursor.get_children())
        if cursor.kind == Kind.IF_STMT:
            return self.slice(cursor).startswith("if constexpr") and child == next(cursor.get_children())
        if cursor.kind == Kind.VAR_DECL:
            return child.extent.start.offset < self.initializer_start(cursor)
        if child.kind in (Kind.INTEGER_LITERAL, Kind.DECL_REF_EXPR) and self.closes_template(child):
            return True
        return child.kind in (Kind.TEMPLATE_REF, Kind.TYPE_REF, Kind.NAMESPACE_REF)

    def closes_template(self, cursor):
        start, end = self.extent(cursor)
        return self.text[:start].rstrip()[-1:] in ("<", ",") and re.match(r"\s*>(?!=)", self.text[end:])

    def initializer_start(self, variable):
        """Where the value begins: what comes before is type and bounds."""
        name_end = variable.location.offset + len(variable.spelling)
        end = variable.extent.end.offset
        match = re.match(r"(?:\s*\[[^\]]*\])*\s*[={(]", self.text[name_end:end])
        return name_end + match.end() - 1 if match else end

    # --- constants ---

    def note_constant(self, variable):
        start, end = self.extent(variable)
        head = self.text[start:variable.location.offset]
        if "constexpr" not in head or variable.semantic_parent.kind not in SCOPES or self.within_macro(start, end):
            return
        literal = None
        if variable.type.kind == cindex.TypeKind.CONSTANTARRAY:
            literals = [child for child in variable.get_children() if child.kind == Kind.STRING_LITERAL]
            literal = self.extent(literals[0]) if literals else None
        self.file.constants.append(Constant(variable.spelling, start, variable.location.offset, end, literal))

    def note_reference(self, cursor):
        if cursor.kind != Kind.DECL_REF_EXPR:
            return
        variable = cursor.referenced
        if variable is None or variable.kind != Kind.VAR_DECL or variable.semantic_parent.kind not in SCOPES:
            return
        file = variable.location.file
        if file is None or file.name not in self.planted_files or cursor.extent.start.file.name != str(self.path):
            return
        head_start = variable.extent.start.offset
        head = self.planted_files[file.name][head_start:variable.location.offset]
        start, end = self.extent(cursor)
        if ("constexpr" in head and self.text[start:end].endswith(variable.spelling) and
                not self.within_macro(start, end)):
            self.file.references.add((start, end))
            self.file.uses.add((file.name, variable.location.offset))

    # --- faults ---

    def find_in(self, cursor, plantable):
        if not self.function:
            return
        start, end = self.extent(cursor)
        if cursor.extent.start.file is None or cursor.extent.start.file.name != str(self.path):
            return
        for at, until, replacement in self.alternatives(cursor):
            self.add(cursor, start, end, self.text[start:at] + replacement + self.text[until:end], plantable)
        if self.is_condition(cursor) and not self.has_own_opposite(cursor):
            self.add(cursor, start, end, f"!({self.text[start:end]})", plantable, "condition")
        if cursor.kind == Kind.INIT_LIST_EXPR:
            self.find_in_table(cursor, plantable)
        if cursor.kind in (Kind.COMPOUND_STMT, Kind.CASE_STMT, Kind.DEFAULT_STMT, Kind.IF_STMT, Kind.FOR_STMT,
                           Kind.WHILE_STMT, Kind.CXX_FOR_RANGE_STMT):
            self.find_statements(cursor, plantable)

    def alternatives(self, cursor):
        """Extents within the cursor, and what takes their place."""
        start, end = self.extent(cursor)
        own = []
        if cursor.kind in LITERALS:
            own = [(start, end, text) for text in LITERALS[cursor.kind](self.text[start:end])]
        elif cursor.kind in (Kind.BINARY_OPERATOR, Kind.COMPOUND_ASSIGNMENT_OPERATOR):
            left, right = list(cursor.get_children())[:2]
            own = self.changed_operator(left.extent.end.offset, right.extent.start.offset, operators.BINARY)
        elif cursor.kind == Kind.UNARY_OPERATOR:
            own = self.changed_unary(cursor)
        elif cursor.kind == Kind.CALL_EXPR and cursor.spelling.startswith("operator"):
            own = self.changed_overload(cursor)
        return own + self.changed_return(cursor)

    def changed_operator(self, start, end, table):
        between = re.fullmatch(r"(\s*)([^\sA-Za-z0-9_/]+|/)(\s*)", self.text[start:end])
        if not between:
            return []
        return [(start + between.start(2), start + between.end(2), text) for text in table.get(between[2], [])]

    def changed_unary(self, cursor):
        operand = next(cursor.get_children())
        start, end = self.extent(cursor)
        if operand.extent.start.offset > start:
            return self.changed_operator(start, operand.extent.start.offset, operators.UNARY)
        return self.changed_operator(operand.extent.end.offset, end, operators.UNARY)

    def changed_overload(self, cursor):
        sign = cursor.spelling[len("operator"):]
        table = operators.BINARY if sign in operators.BINARY else operators.UNARY
        for child in cursor.get_children():
            start, end = self.extent(child)
            if child.kind != Kind.UNEXPOSED_EXPR and child.kind != Kind.DECL_REF_EXPR:
                continue
            if self.text[start:end] == sign:
                return [(start, end, text) for text in table.get(sign, [])]
        return []

    def is_condition(self, cursor):
        parent = self.ancestors[-2] if len(self.ancestors) > 1 else None
        return (parent is not None and parent.kind in CONDITIONAL and cursor.kind.is_expression() and
                self.extent(cursor) == self.extent(self.condition_of(parent)))

    @staticmethod
    def condition_of(statement):
        expressions = [child for child in statement.get_children() if child.kind.is_expression()]
        return expressions[0] if expressions else statement

    def has_own_opposite(self, cursor):
        while cursor.kind in (Kind.UNEXPOSED_EXPR, Kind.PAREN_EXPR):
            inner = list(cursor.get_children())
            if len(inner) != 1:
                return False
            cursor = inner[0]
        if cursor.kind == Kind.UNARY_OPERATOR:
            return self.slice(cursor).startswith("!")
        if cursor.kind == Kind.CALL_EXPR:
            return cursor.spelling in tuple("operator" + sign for sign in operators.RELATIONAL)
        if cursor.kind != Kind.BINARY_OPERATOR:
            return False
        left, right = list(cursor.get_children())[:2]
        return self.text[left.extent.end.offset:right.extent.start.offset].strip() in operators.RELATIONAL

    def changed_return(self, cursor):
        parent = self.ancestors[-2] if len(self.ancestors) > 1 else None
        if parent is None or parent.kind != Kind.RETURN_STMT or not cursor.kind.is_expression():
            return []
        inner = cursor
        while inner.kind == Kind.UNEXPOSED_EXPR and (children := list(inner.get_children())):
            inner = children[-1]
        if inner.kind in LITERALS or self.has_own_opposite(cursor):
            return []
        start, end = self.extent(cursor)
        kind = cursor.type.get_canonical().kind
        if kind == cindex.TypeKind.BOOL:
            return [(start, end, f"!({self.text[start:end]})")]
        return [(start, end, f"({self.text[start:end]}) + 1")] if kind in INTEGERS else []

    def find_in_table(self, table, plantable):
        """A cell that is no literal takes the value of the one below, or above in the last row."""
        rows = [child for child in table.get_children() if child.kind == Kind.INIT_LIST_EXPR]
        for at, row in enumerate(rows):
            if len(rows) < 2:
                break
            other = list(rows[at + 1 if at + 1 < len(rows) else at - 1].get_children())
            for column, cell in enumerate(row.get_children()):
                if column >= len(other) or self.slice(other[column]) == self.slice(cell):
                    continue
                if re.fullmatch(r"&?[A-Za-z_:]+[A-Za-z_0-9:]*", self.slice(cell)):
                    start, end = self.extent(cell)
                    self.ancestors.append(row)
                    self.add(cell, start, end, self.slice(other[column]), plantable)
                    self.ancestors.pop()

    # --- statements ---

    def find_statements(self, parent, plantable):
        previous = None
        for child in parent.get_children():
            if parent.kind != Kind.COMPOUND_STMT and self.is_head(parent, child):
                continue
            extent = self.statement_extent(child)
            if extent:
                self.add_statement(child, extent, "drop", "", plantable)
                if previous and parent.kind == Kind.COMPOUND_STMT and self.order_matters(previous[0], child):
                    form = "early" if previous[0].kind == Kind.DECL_STMT else "swap"
                    both = self.text[previous[1][0]:previous[1][1]], self.text[extent[0]:extent[1]]
                    self.add_statement(previous[0], previous[1], form, f"{both[1]} {both[0]}", plantable, extent)
            plain = extent and child.kind not in (Kind.RETURN_STMT, Kind.BREAK_STMT, Kind.CONTINUE_STMT)
            if child.kind == Kind.DECL_STMT and not self.within_macro(*self.extent(child)):
                extent = self.extent(child)
            previous = (child, extent) if plain or child.kind == Kind.DECL_STMT and extent else None

    def is_head(self, parent, child):
        """Whether it is the condition or the head of a loop, not what depends on it."""
        if parent.kind in (Kind.CASE_STMT, Kind.DEFAULT_STMT):
            children = list(parent.get_children())
            return parent.kind == Kind.CASE_STMT and child == children[0]
        closing = self.closing_of_head(parent)
        return child.extent.start.offset < closing

    def closing_of_head(self, parent):
        start, end = self.extent(parent)
        depth = 0
        for token in re.finditer(r'"(?:[^"\\]|\\.)*"|\'(?:[^\'\\]|\\.)\'|//[^\n]*|[()]', self.text[start:end]):
            depth += {"(": 1, ")": -1}.get(token[0], 0)
            if token[0] == ")" and depth == 0:
                return start + token.end()
        return end

    def statement_extent(self, child):
        start, end = self.extent(child)
        simple = child.kind.is_expression() or child.kind == Kind.CXX_DELETE_EXPR
        jump = child.kind in (Kind.BREAK_STMT, Kind.CONTINUE_STMT) or (
            child.kind == Kind.RETURN_STMT and not list(child.get_children()))
        if not (simple or jump) or self.within_macro(start, end):
            return None
        semicolon = re.match(r"(?:\s|//[^\n]*\n)*;", self.text[end:])
        return (start, end + semicolon.end()) if semicolon else None

    def order_matters(self, first, second):
        """Whether one of two statements, or another thread, may see which came first."""
        if self.slice(first) == self.slice(second):
            return False
        if first.kind == Kind.DECL_STMT:
            return self.is_shared(second) and self.calls_for(first, self.slice(second))
        if self.is_shared(first) and self.is_shared(second):
            return True
        return any(self.may_see(other, statement) for statement, other in ((first, second), (second, first))
                   if self.assigned(statement)) or not (self.assigned(first) or self.assigned(second))

    def may_see(self, statement, assignment):
        """What an assignment sets is seen by its name. A call sees all but a local variable that it is not given."""
        text, target = self.slice(statement), self.assigned(assignment)
        if re.search(rf"\b{re.escape(re.split(r'[.]|->|::', target)[-1])}\b", text):
            return True
        if self.assigned(statement) or text.startswith("logLine("):
            return False
        base = re.split(r"[.]|->", target)[0]
        return not self.is_local(assignment) or bool(re.search(rf"\b{re.escape(base)}\b(?!\.|->)", text))

    @staticmethod
    def is_local(statement):
        names = (item for item in statement.walk_preorder() if item.kind == Kind.DECL_REF_EXPR and item.referenced)
        first = next(names, None)
        return first is not None and first.referenced.semantic_parent.kind in FUNCTIONS

    def is_shared(self, statement):
        """Whether it sets a variable that other threads read."""
        if not self.assigned(statement):
            return False
        names = (item for item in statement.walk_preorder() if item.kind == Kind.DECL_REF_EXPR)
        variable = next(names, None)
        return variable is not None and "atomic<" in variable.type.get_canonical().spelling

    @staticmethod
    def calls_for(declaration, text):
        """Whether a call gives the value of what is declared, and a text does without that."""
        return any(item.kind == Kind.CALL_EXPR for item in declaration.walk_preorder()) and not any(
            re.search(rf"\b{re.escape(variable.spelling)}\b", text) for variable in declaration.get_children())

    def assigned(self, statement):
        """The variable that a statement sets and does nothing else."""
        match = re.match(r"([\w.>:-]+?)\s*(?:[-+*/&|]?=)(?!=)([^()]*)$", self.slice(statement), re.S)
        return match[1] if match else None

    def add_statement(self, cursor, extent, form, new, plantable, second=None):
        start, end = extent
        old = squeezed(self.text[start:end] + (" " + self.text[second[0]:second[1]] if second else ""))
        fault = Fault(self.file.name, cursor.extent.start.line, self.function, start, end, new, old,
                      squeezed(new) or "(dropped)", planted=plantable, form=form)
        fault.second = second
        self.file.faults.append(fault)

    # --- what a fault is called ---

    def add(self, cursor, start, end, replacement, plantable, form="expression"):
        if self.within_macro(start, end) or (start, end, replacement) in self.seen:
            return
        self.seen.add((start, end, replacement))
        first, last = self.context(start, end)
        old = squeezed(self.text[first:last])
        new = squeezed(self.text[first:start] + replacement + self.text[end:last])
        self.file.faults.append(Fault(self.file.name, cursor.extent.start.line, self.function, start, end, replacement,
                                      old, new, planted=plantable, form=form))

    def context(self, start, end):
        """The largest expression or statement around it that is short enough for a name."""
        best = start, end
        for cursor in reversed(self.ancestors):
            first, last = self.extent(cursor)
            if cursor.kind in (*FUNCTIONS, *SCOPES, Kind.COMPOUND_STMT) or not first <= start <= end <= last:
                break
            if len(squeezed(self.text[first:last])) > LONGEST_KEY:
                break
            best = first, last
            if cursor.kind == Kind.INIT_LIST_EXPR:  # a row of a table
                break
        return best

    def number_namesakes(self):
        """Numbers the faults of the same name, in the order of the file."""
        self.file.faults.sort(key=lambda fault: (fault.start, fault.end))
        counts = {}
        for fault in self.file.faults:
            counts[fault.key] = counts.get(fault.key, 0) + 1
            if counts[fault.key] > 1:
                fault.new += f" #{counts[fault.key]}"


def outermost(unit, paths):
    """By path: the declarations and macro calls of a file that lie in no other."""
    found = {path: [] for path in paths}
    for cursor in unit.cursor.get_children():
        file = cursor.location.file
        if file is not None and file.name in found:
            found[file.name].append(cursor)
    return found


def parse(path, arguments):
    find_library()
    unit = cindex.Index.create().parse(str(path), arguments,
                                       options=cindex.TranslationUnit.PARSE_DETAILED_PROCESSING_RECORD)
    errors = [str(item) for item in unit.diagnostics if item.severity >= cindex.Diagnostic.Error]
    if errors:
        raise RuntimeError("\n".join([f"libclang cannot read {path}:", *errors]))
    return unit
