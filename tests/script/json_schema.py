"""The part of JSON schemas that docs/report.schema.json uses; any other keyword is an error."""

NOTES = {"$schema", "$defs", "title", "description"}
TYPES = {
    "object": lambda value: isinstance(value, dict),
    "array": lambda value: isinstance(value, list),
    "string": lambda value: isinstance(value, str),
    "boolean": lambda value: isinstance(value, bool),
    "null": lambda value: value is None,
    "integer": lambda value: isinstance(value, int) and not isinstance(value, bool),
    "number": lambda value: isinstance(value, (int, float)) and not isinstance(value, bool),
}
LIMITS = {
    "minimum": lambda value, limit: value >= limit,
    "maximum": lambda value, limit: value <= limit,
    "exclusiveMinimum": lambda value, limit: value > limit,
    "exclusiveMaximum": lambda value, limit: value < limit,
}
SIZES = {
    "minItems": lambda value, limit: len(value) >= limit,
    "maxItems": lambda value, limit: len(value) <= limit,
}


def faults_of(value, schema, root=None, place=""):
    """Yields what is wrong with a value."""
    root = schema if root is None else root
    for key, rule in schema.items():
        if key not in NOTES:
            yield from faults_of_rule(value, key, rule, schema, root, place)


def faults_of_rule(value, key, rule, schema, root, place):
    if key == "$ref":
        yield from faults_of(value, root["$defs"][rule.removeprefix("#/$defs/")], root, place)
    elif key == "type":
        if not any(TYPES[name](value) for name in ([rule] if isinstance(rule, str) else rule)):
            yield f"{place}: {value!r} is no {rule}"
    elif key == "enum":
        if value not in rule:
            yield f"{place}: {value!r} is none of {rule}"
    elif key == "oneOf":
        fitting = [option for option in rule if not list(faults_of(value, option, root, place))]
        if len(fitting) != 1:
            yield f"{place}: {value!r} fits {len(fitting)} of {len(rule)}"
    elif key == "allOf":
        for part in rule:
            yield from faults_of(value, part, root, place)
    elif key in LIMITS:
        if TYPES["number"](value) and not LIMITS[key](value, rule):
            yield f"{place}: {value} is out of its {key} {rule}"
    elif key in SIZES:
        if isinstance(value, list) and not SIZES[key](value, rule):
            yield f"{place}: {len(value)} items"
    elif key == "items":
        for index, item in enumerate(value if isinstance(value, list) else []):
            yield from faults_of(item, rule, root, f"{place}[{index}]")
    elif key == "required":
        for name in rule:
            if isinstance(value, dict) and name not in value:
                yield f"{place}.{name} is missing"
    elif key == "properties":
        for name, part in rule.items():
            if isinstance(value, dict) and name in value:
                yield from faults_of(value[name], part, root, f"{place}.{name}")
    elif key == "additionalProperties" and rule is False:
        for name in value if isinstance(value, dict) else ():
            if name not in schema["properties"]:
                yield f"{place}.{name} is unknown"
    else:
        raise ValueError(f"the keyword {key} is not understood")
