# Writes an LDIF of SIZE generated people under SUFFIX (dc=NAME,dc=bench).
#   awk -v size=100000 -v suffix=dc=n100000,dc=bench -f people.awk
# Person i is uid=p<i>. Every value is plain printable ASCII. The group
# attributes give filters of known sizes in a directory of SIZE people:
#   employeeNumber=<i>         1 person
#   departmentNumber=d<i/100>  100 people
#   ou=o<i/1000>               1,000 people
#   businessCategory=b<i/10000> 10,000 people
# cn is "<given> <sn> <i>": unique, and in no relation to the load order, so
# the client sort has real work to do.
BEGIN {
  split("Ada Alan Barbara Brian Carla Claude Dana Dennis Edsger Elena " \
        "Frances Fred Grace Guido Hedy Ivan Joan John Ken Linus " \
        "Margaret Niklaus Olga Peter Radia Rob Sophie Tim Ursula Vint", given)
  split("Abbott Baker Carter Dalton Evans Fisher Garcia Hughes Irwin Jensen " \
        "Keller Lopez Morgan Novak Owens Patel Quinn Reyes Schmidt Turner " \
        "Ueda Vance Walsh Xu Young Zimmer", surname)
  split("Engineer Analyst Manager Clerk Director Technician Consultant " \
        "Architect", title)
  split("Springfield Riverside Fairview Franklin Greenville Bristol Clinton " \
        "Madison Georgetown Salem", city)
  split("IL CA TX NY OH WA OR MA", state)
  split("Main Oak Pine Maple Cedar Elm Lake Hill", street)
  ng = length(given); ns = length(surname)
  print "dn: " suffix
  print "objectClass: dcObject"
  print "objectClass: organization"
  split(suffix, parts, /[=,]/)
  print "dc: " parts[2]
  print "o: " parts[2]
  print ""
  for (i = 0; i < size; i++) {
    g = given[1 + (i * 7) % ng]
    s = surname[1 + (i * 13 + int(i / ng)) % ns]
    print "dn: uid=p" i "," suffix
    print "objectClass: inetOrgPerson"
    print "uid: p" i
    print "cn: " g " " s " " i
    print "sn: " s
    print "givenName: " g
    print "mail: " tolower(g) "." tolower(s) "." i "@example.com"
    printf "telephoneNumber: +1 (555) %03d-%04d\n", i % 1000, i % 10000
    printf "telephoneNumber: +1 555 %03d %04d\n", (i * 3) % 1000, (i * 7) % 10000
    print "title: " title[1 + i % 8]
    print "description: Person " i " of department d" int(i / 100) \
          ", works on project " (i * 31) % 997 " in the " \
          city[1 + i % 10] " office"
    print "street: " (1 + i % 9000) " " street[1 + i % 8] " St"
    print "l: " city[1 + i % 10]
    print "st: " state[1 + i % 8]
    printf "postalCode: %05d\n", (10000 + i * 37) % 100000
    print "labeledURI: http://www.example.com/~p" i
    print "employeeNumber: " i
    print "departmentNumber: d" int(i / 100)
    print "ou: o" int(i / 1000)
    print "businessCategory: b" int(i / 10000)
    print ""
  }
}
