#!/usr/bin/env bats
# Class files: checked, compared and shown, without any server.

load helper

setup() { cd "$BATS_TEST_TMPDIR" || return; }

# lamp REVISION KEYS... writes lamp.toml.
lamp() {
  printf 'name = "lamp"\nid = "59.200"\nrevision = %s\n' "$1" >lamp.toml
  printf '[attribute.name]\nid = "59.200.1"\ntype = "string"\n' >>lamp.toml
  shift
  printf '%s\n' "$@" >>lamp.toml
}

@test "a good class file is told so" {
  lamp 1
  run --separate-stderr "$OSTREL" class check lamp.toml
  [ "$status" = 0 ]
  same "$output" 'lamp.toml: lamp, 59.200, revision 1: good'
  [ -z "$stderr" ]
}

@test "all mistakes are told with file, line and column" {
  lamp 1 'acces = "read-only"' 'length = [2, 1]'
  run --separate-stderr "$OSTREL" class check lamp.toml
  [ "$status" = 5 ]
  [ -z "$output" ]
  same "$stderr" "ostrel: lamp.toml:7:1: attribute.name: unknown key 'acces' \
(did you mean 'access'?)
ostrel: lamp.toml:8:10: attribute.name.length: the least, 2, is greater than \
the greatest, 1; swap them"
}

@test "mistakes have a JSON form" {
  lamp 1 'length = 5'
  run --separate-stderr "$OSTREL" --json class check lamp.toml
  [ "$status" = 5 ]
  same "$(json '[.file, .line, .column, .mistake]')" \
    '["lamp.toml",7,10,"attribute.name.length: has to be an array, not a whole number"]'
}

@test "files are checked against one another and against what ships" {
  lamp 1
  sed 's/"lamp"/"light"/' lamp.toml >light.toml
  run --separate-stderr "$OSTREL" class check lamp.toml light.toml
  [ "$status" = 5 ]
  [[ $stderr == *"light.toml:2:6: id: 59.200 is the number of 'lamp' in lamp.toml:2;"* ]]
  sed 's/59\.200/59.1/' lamp.toml >host.toml
  run --separate-stderr "$OSTREL" class check host.toml
  [ "$status" = 5 ]
  [[ $stderr == *"id: 59.1 is the number of 'host' in shipped:host.toml:2;"* ]]
}

@test "the rules of change are kept to" {
  lamp 1
  mkdir old
  mv lamp.toml old
  lamp 2 'text = "Its name."'
  "$OSTREL" class check --against old/lamp.toml lamp.toml
  "$OSTREL" class check --against old lamp.toml
  lamp 2 'required = true'
  run --separate-stderr "$OSTREL" class check lamp.toml --against old/lamp.toml
  [ "$status" = 5 ]
  [[ $stderr == *'lamp.toml:7:12: attribute.name.required: requests that were right would fail;'* ]]
  sed 's/59\.200/59.201/; s/"lamp"/"light"/' old/lamp.toml >light.toml
  run --separate-stderr "$OSTREL" class check light.toml --against old/lamp.toml
  [ "$status" = 5 ]
  [[ $stderr == *'old/lamp.toml:1:8: no file describes the class lamp any more; give it'* ]]
}

@test "a class is shown as text, as TOML that makes it again, and as JSON" {
  run "$OSTREL" class show principal
  [ "$status" = 0 ]
  [[ $output == 'object principal {'*'id 59.110.0.0;'*'attribute login {'* ]]
  "$OSTREL" class show -o toml 59.110 >principal.toml
  "$OSTREL" class check principal.toml
  "$OSTREL" class show -o toml ./principal.toml | cmp - principal.toml
  same "$("$OSTREL" class show host -o json | jq -r '.attributes[3] | .name, .unit')" \
    $'uptime\nsecond'
  same "$("$OSTREL" --json class show host | jq -r .class.actions[0].name)" log
}

@test "what cannot be read is said" {
  run --separate-stderr "$OSTREL" class check none.toml
  [ "$status" = 5 ]
  same "$stderr" 'ostrel: none.toml: cannot be read (is it there, and may you read it?)'
  mkdir empty
  run --separate-stderr "$OSTREL" class check empty
  [ "$status" = 2 ]
}
